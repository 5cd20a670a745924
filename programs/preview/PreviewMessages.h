#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel {

// What a window and the process that draws its preview tell each other, over a pair of sockets that keeps messages
// whole. Frames lie in memory that both see: two of them one after the other, so that one is shown while the next is
// drawn.
struct PreviewMessage {
    enum Kind : std::uint32_t {
        // from the window
        resize, // a, b: width and height in pixels
        reload,
        show, // a: 0 or 1
        taken, // the frame that was sent before is no longer shown
        ping,
        // from either
        words, // a: bytes of a text, which comes in memory of its own
        // from the child
        memory, // a, b: width and height; the memory comes with it
        frame, // a: 0 or 1, which of the two
        pong,
    };
    std::uint32_t kind = ping;
    std::uint32_t a = 0, b = 0;
};

// Of one text: a picture that was dropped on the window is one.
constexpr std::uint32_t kMostPreviewWords = 64u << 20;
constexpr std::uint32_t kMostPreviewPixels = 4096; // a side
// The child's exit code where another is to take its place at once.
constexpr int kPreviewAnew = 75;

// False if the other end is gone or takes nothing more. `descriptor`, unless negative, goes along.
bool sendPreviewMessage(int socket, const PreviewMessage& message, int descriptor = -1);
struct PreviewReceived {
    std::optional<PreviewMessage> message; // absent if there is none now, or one that is none of these
    int descriptor = -1; // the caller's, if one came along
    bool closed = false; // there will be none any more
};
// One of another size, or with more than one descriptor, is dropped, and all that came with it closed.
PreviewReceived receivePreviewMessage(int socket);

// A text, as a message of its own. False likewise, and for one that is too long.
bool sendPreviewWords(int socket, std::string_view words);
// The text that came with a message; empty if none did. Takes the descriptor.
std::string receivedPreviewWords(const PreviewMessage& message, int descriptor);

} // namespace vitrel
