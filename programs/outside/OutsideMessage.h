#pragma once

#include "base/Bytes.h"
#include "platform/foundation/Value.h"

#include <cstddef>
#include <mutex>
#include <optional>

namespace vitrel {

// What goes between a confined process and the one outside: some facts, and bytes that belong to them.
struct OutsideMessage {
    Dictionary facts;
    Bytes bytes;
};

// The facts go as a property list, the bytes as they are; both lengths, 32 bits each, before them, as this machine
// stores numbers.
struct OutsideLimits {
    std::size_t facts = 0, bytes = 0;
};

// From outside: a player's words may hold a cover as text, an answer a whole feed.
constexpr OutsideLimits kFromOutside{64u << 20, 80u << 20};
// From within: addresses, and a small cover to be kept.
constexpr OutsideLimits kFromWithin{1u << 20, 1u << 20};

// One end of a pair of connected sockets. One thread reads; any thread sends.
class OutsideSocket
{
public:
    // Takes over the descriptor. Waits wherever the other end isn't ready.
    explicit OutsideSocket(int descriptor)
        : descriptor_(descriptor)
    { }
    ~OutsideSocket();
    OutsideSocket(const OutsideSocket&) = delete;
    OutsideSocket& operator=(const OutsideSocket&) = delete;

    int descriptor() const { return descriptor_; }
    // False once the other end has gone.
    bool send(const Dictionary& facts, ByteView bytes = {});
    // The next message; absent once the other end has gone, and for anything that is no message or beyond the limits,
    // after which there is none any more.
    std::optional<OutsideMessage> receive(const OutsideLimits& limits);
    // No more messages, either way; a `receive` under way ends. Any thread.
    void shutDown();

private:
    bool sendAll(ByteView bytes);
    bool receiveAll(Bytes& bytes, std::size_t size);

    const int descriptor_;
    std::mutex sending_;
};

// The facts' members by their kinds, with something of no account in place of what isn't there.
std::string textOfFact(const Dictionary& facts, std::string_view name);
std::int64_t numberOfFact(const Dictionary& facts, std::string_view name);
bool truthOfFact(const Dictionary& facts, std::string_view name);

} // namespace vitrel
