#pragma once

#include "platform/appkit/HostWindow.h"
#include "platform/appkit/wayland/WaylandConnection.h"

#include <memory>
#include <string>

namespace vitrel {

// A window of a compositor: an ordinary one, or one that covers an output. Main thread.
class WaylandWindow final : public HostWindow
{
public:
    // An ordinary window with a title, of `width` x `height` of the compositor's units, unless the compositor wants
    // another size. The user can move it by its picture. Null if the compositor has gone or has no such windows.
    static std::unique_ptr<WaylandWindow> open(
        std::shared_ptr<WaylandConnection> connection, const std::string& title, int width, int height);
    // Covers `output`, over everything else, with no cursor, and takes all keys; where the compositor has no such
    // surfaces it is an ordinary window, full screen there. Only this kind can be dismissed. Null if the compositor has
    // gone, or has neither, or has no such output.
    enum class Entrance {
        Gentle, // the pictures come up out of what is there, for the time of `fade`
        AtOnce, // black, as soon as there is a surface
    };
    static std::unique_ptr<WaylandWindow> cover(std::shared_ptr<WaylandConnection> connection,
        const WaylandOutput& output, Entrance entrance = Entrance::Gentle, Seconds fade = Seconds(0.5));
    ~WaylandWindow() override;
    WaylandWindow(const WaylandWindow&) = delete;
    WaylandWindow& operator=(const WaylandWindow&) = delete;

    int width() const override;
    int height() const override;
    // False until the compositor has given it a size. Whether anybody sees it, only the surface's frames tell.
    bool isVisible() const override;
    bool isClosed() const;
    void leave() override;
    std::unique_ptr<Surface> makeSurface() override;

private:
    struct Native;
    explicit WaylandWindow(std::unique_ptr<Native> native);
    std::unique_ptr<Native> native_;
};

} // namespace vitrel
