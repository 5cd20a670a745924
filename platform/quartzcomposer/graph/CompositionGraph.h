#pragma once

#include "platform/quartzcomposer/file/CompositionFile.h"
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <map>

namespace vitrel::qc {

struct PublishedPort {
    std::string key;
    PortType type = PortType::Virtual;
};

// A composition that can be evaluated: the tree of patches that a file describes, with everything resolved that
// can be. Main thread.
class CompositionGraph
{
public:
    // Never fails: what isn't known or doesn't resolve is left out. `unsupported` names what isn't known.
    CompositionGraph(const CompositionFile& file, const PatchRegistry& registry);
    ~CompositionGraph();

    // Published ports of the root, in the file's order.
    std::vector<PublishedPort> inputs() const;
    std::vector<PublishedPort> outputs() const;
    // A host's value for a published input; false without such an input or a conversion.
    bool setInput(const std::string& key, const Value& value);
    Value input(const std::string& key) const;
    PortValue inputPort(const std::string& key) const;

    // What is heard in the frames from now on.
    void hear(const Hearing& hearing) { hearing_ = hearing; }
    // Whether a patch has looked at it in any frame so far.
    bool listens() const { return listens_; }

    // Shows the frames from now on to somebody who must outlive them; null to nobody.
    void observe(FrameObserver* observer) { observer_ = observer; }

    struct Frame {
        // When the next frame can differ, on the composition's time; infinity: not before an input changes.
        double next = 0;
        std::uint64_t evaluations = 0;
    };
    // Draws the composition as it is at `time`, in seconds from its start. A time before that of the last frame
    // starts all memory anew.
    Frame frame(Stage& stage, double time, Date date);
    // A published output as it is at the time of the last frame.
    PortValue output(const std::string& key, Stage& stage);

    const std::map<std::string, int>& unsupported() const { return unsupported_; }
    // True if something in it wants a depth buffer.
    bool needsDepth() const { return needsDepth_; }
    // Connections and publications that led nowhere although both ends are known.
    int dangling() const { return dangling_; }
    std::size_t patches() const { return patches_; }

private:
    void rebuild();

    const CompositionFile& file_;
    const PatchRegistry& registry_;
    std::unique_ptr<Macro> root_;
    Scope scope_;
    std::uint64_t frames_ = 0;
    double lastTime_ = 0;
    std::chrono::steady_clock::duration spent_{}; // on the last frame and its outputs
    Date lastDate_;
    Hearing hearing_;
    bool listens_ = false;
    FrameObserver* observer_ = nullptr;
    std::map<std::string, int> unsupported_;
    bool needsDepth_ = false, discardsClear_ = false;
    int dangling_ = 0;
    std::size_t patches_ = 0;
};

// Classes in a file that aren't known, by name (with the identifier for plug-ins and filters), each as often as the
// file holds it, embedded definitions included.
std::map<std::string, int> unsupportedClasses(const CompositionFile& file, const PatchRegistry& registry);

} // namespace vitrel::qc
