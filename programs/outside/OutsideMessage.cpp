#include "programs/outside/OutsideMessage.h"

#include "platform/foundation/PropertyList.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace vitrel {

namespace {

using Lengths = std::array<std::uint32_t, 2>; // of facts and bytes

} // namespace

OutsideSocket::~OutsideSocket()
{
    ::close(descriptor_);
}

void OutsideSocket::shutDown()
{
    ::shutdown(descriptor_, SHUT_RDWR);
}

bool OutsideSocket::sendAll(ByteView bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes = bytes.subspan(std::size_t(sent));
    }
    return true;
}

bool OutsideSocket::send(const Dictionary& facts, ByteView bytes)
{
    const Bytes list = binaryPropertyList(facts);
    const Lengths lengths{std::uint32_t(list.size()), std::uint32_t(bytes.size())};
    const std::lock_guard lock(sending_);
    return sendAll({reinterpret_cast<const std::uint8_t*>(lengths.data()), sizeof lengths}) && sendAll(list)
        && sendAll(bytes);
}

bool OutsideSocket::receiveAll(Bytes& bytes, std::size_t size)
{
    // Grows with what comes, not with what was promised.
    constexpr std::size_t kStep = 1u << 20;
    bytes.clear();
    while (bytes.size() < size) {
        const std::size_t had = bytes.size();
        bytes.resize(std::min(size, had + kStep));
        for (std::size_t at = had; at < bytes.size();) {
            const ssize_t got = ::recv(descriptor_, bytes.data() + at, bytes.size() - at, 0);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false;
            at += std::size_t(got);
        }
    }
    return true;
}

std::optional<OutsideMessage> OutsideSocket::receive(const OutsideLimits& limits)
{
    Bytes head, list;
    OutsideMessage message;
    Lengths lengths{};
    if (!receiveAll(head, sizeof lengths))
        return std::nullopt;
    std::memcpy(lengths.data(), head.data(), sizeof lengths);
    const bool fits = lengths[0] <= limits.facts && lengths[1] <= limits.bytes;
    if (!fits || !receiveAll(list, lengths[0]) || !receiveAll(message.bytes, lengths[1])) {
        shutDown();
        return std::nullopt;
    }
    const auto value = propertyListWithData(list);
    if (!value || !value->dictionary()) {
        shutDown();
        return std::nullopt;
    }
    message.facts = *value->dictionary();
    return message;
}

std::string textOfFact(const Dictionary& facts, std::string_view name)
{
    const auto* text = textMember(facts, name);
    return text ? *text : "";
}

std::int64_t numberOfFact(const Dictionary& facts, std::string_view name)
{
    const auto* value = member(facts, name);
    const auto* number = value ? value->as<std::int64_t>() : nullptr;
    return number ? *number : 0;
}

bool truthOfFact(const Dictionary& facts, std::string_view name)
{
    const auto* value = member(facts, name);
    const auto* truth = value ? value->as<bool>() : nullptr;
    return truth && *truth;
}

} // namespace vitrel
