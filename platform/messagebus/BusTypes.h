#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

// What differs between version 1 of sdbus-c++ (Debian 12) and version 2 (Debian 13) in the calls that are made here.
namespace vitrel {

#if __has_include(<sdbus-c++/VTableItems.h>)
using BusError = std::optional<sdbus::Error>; // the first argument of an answer; nothing if it is a good one
using BusName = sdbus::ServiceName;
using BusErrorName = sdbus::Error::Name;

template <class Participant> void finish(Participant&) { }
inline bool processOne(sdbus::IConnection& bus)
{
    return bus.processPendingEvent();
}
// On CLOCK_MONOTONIC; the largest number for never.
inline std::uint64_t microsecondsOf(const sdbus::IConnection::PollData& data)
{
    return data.timeout == std::chrono::microseconds::max() ? UINT64_MAX : std::uint64_t(data.timeout.count());
}
inline std::string senderOf(const sdbus::IObject& object)
{
    return object.getCurrentlyProcessedMessage().getSender();
}
template <class Handler> void onSignal(sdbus::IProxy& proxy, const char* interface, const char* name, Handler handler)
{
    proxy.registerSignalHandler(sdbus::InterfaceName(interface), sdbus::SignalName(name),
        [handler = std::move(handler)](sdbus::Signal signal) { handler(signal); });
}
inline sdbus::Signal signalOf(sdbus::IObject& object, const char* interface, const char* name)
{
    return object.createSignal(sdbus::InterfaceName(interface), sdbus::SignalName(name));
}
template <class Function>
void offerMethod(sdbus::IObject& object, const char* interface, const char* name, Function function,
    std::vector<std::string> inputs = {}, std::vector<std::string> outputs = {})
{
    auto item = sdbus::registerMethod(name).implementedAs(std::move(function));
    if (!inputs.empty())
        item.withInputParamNames(std::move(inputs));
    if (!outputs.empty())
        item.withOutputParamNames(std::move(outputs));
    object.addVTable(std::move(item)).forInterface(sdbus::InterfaceName(interface));
}
template <class Function>
void offerProperty(sdbus::IObject& object, const char* interface, const char* name, Function getter)
{
    object.addVTable(sdbus::registerProperty(name).withGetter(std::move(getter)))
        .forInterface(sdbus::InterfaceName(interface));
}
template <class... Types> void offerSignal(sdbus::IObject& object, const char* interface, const char* name)
{
    object.addVTable(sdbus::registerSignal(name).withParameters<Types...>())
        .forInterface(sdbus::InterfaceName(interface));
}
inline void propertyChanged(sdbus::IObject& object, const char* interface, const char* name)
{
    object.emitPropertiesChangedSignal(sdbus::InterfaceName(interface), {sdbus::PropertyName(name)});
}
#else
using BusError = const sdbus::Error*;
using BusName = std::string;
using BusErrorName = std::string;

template <class Participant> void finish(Participant& participant)
{
    participant.finishRegistration();
}
inline bool processOne(sdbus::IConnection& bus)
{
    return bus.processPendingRequest();
}
inline std::uint64_t microsecondsOf(const sdbus::IConnection::PollData& data)
{
    return data.timeout_usec;
}
inline std::string senderOf(const sdbus::IObject& object)
{
    const auto* message = object.getCurrentlyProcessedMessage();
    return message ? message->getSender() : "";
}
template <class Handler> void onSignal(sdbus::IProxy& proxy, const char* interface, const char* name, Handler handler)
{
    proxy.registerSignalHandler(interface, name, std::move(handler));
}
inline sdbus::Signal signalOf(sdbus::IObject& object, const char* interface, const char* name)
{
    return object.createSignal(interface, name);
}
template <class Function>
void offerMethod(sdbus::IObject& object, const char* interface, const char* name, Function function,
    std::vector<std::string> inputs = {}, std::vector<std::string> outputs = {})
{
    const std::string member = name; // the registration keeps a reference
    auto method = object.registerMethod(member);
    method.onInterface(interface);
    if (!inputs.empty())
        method.withInputParamNames(std::move(inputs));
    if (!outputs.empty())
        method.withOutputParamNames(std::move(outputs));
    method.implementedAs(std::move(function));
}
template <class Function>
void offerProperty(sdbus::IObject& object, const char* interface, const char* name, Function getter)
{
    object.registerProperty(name).onInterface(interface).withGetter(std::move(getter));
}
template <class... Types> void offerSignal(sdbus::IObject& object, const char* interface, const char* name)
{
    object.registerSignal(name).onInterface(interface).template withParameters<Types...>();
}
inline void propertyChanged(sdbus::IObject& object, const char* interface, const char* name)
{
    object.emitPropertiesChangedSignal(interface, {name});
}
#endif

} // namespace vitrel
