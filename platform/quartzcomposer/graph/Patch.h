#pragma once

#include "platform/quartzcomposer/graph/PortValue.h"
#include "platform/quartzcomposer/scene/Stage.h"
#include "platform/sound/SoundInput.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vitrel::qc {

class Patch;
class Macro;
struct FileNode;

// Sees how a frame is computed, patch by patch, where somebody wants to know: the calls between `enters` and `leaves`
// belong to the patch that was entered last. Main thread.
class FrameObserver
{
public:
    virtual ~FrameObserver() = default;
    virtual void enters(const Patch& patch) = 0;
    virtual void computes() = 0; // and doesn't answer with what it has
    virtual void draws() = 0; // from here on, until it is left
    virtual void wishes(double when, double now) = 0; // for a next frame
    virtual void leaves(const Patch& patch) = 0;
};

// What a composition hears in one frame.
struct Hearing {
    SoundHeard heard;
    bool rests = true; // it stays so until the host says otherwise
};

// One run through a composition at one time.
struct Evaluation {
    explicit Evaluation(Stage& stage)
        : stage(stage)
    { }

    Stage& stage;
    double time = 0; // of the composition, in seconds
    Date date; // the wall clock
    std::uint64_t frame = 0;

    // When the next frame can differ from this one: now, at a time, or not before an input changes (infinity).
    double nextFrame = std::numeric_limits<double>::infinity();
    void needFrame() { needFrameAt(time); }
    void needFrameAt(double when)
    {
        nextFrame = std::min(nextFrame, std::max(when, time));
        if (observer)
            observer->wishes(when, time);
    }
    FrameObserver* observer = nullptr; // null: nobody looks

    // Whoever looks makes the host listen.
    const Hearing& hear()
    {
        listens = true;
        return hearing;
    }
    Hearing hearing;
    bool listens = false; // somebody has looked

    std::map<std::string, std::uint32_t> turns; // taken in this frame, by what they are taken in
    int copy = 0; // above 0, consumers that have drawn in this run draw once more, elsewhere
    int depth = 0; // of patches that are waiting for each other
    std::vector<Patch*> late; // those that were asked too deep, to be computed once the stack is free
    // Macros with a node that remembers what they published, also if nobody else asks for it.
    std::vector<Macro*> remembering;
    void remember(std::size_t from); // those that were added since, and forgets them
    std::uint32_t iterationsLeft = 0; // of all iterators in this frame
    std::uint32_t meshVerticesLeft = 1'000'000; // of all meshes in this frame
    std::uint64_t evaluations = 0; // patches computed or drawn

    // True once a frame has cost more than any that is meant to be seen. What isn't computed by then answers with what
    // it had, and has its chance in the next frame.
    bool exhausted();
    std::chrono::steady_clock::time_point end() const; // as the clock tells
    std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();

private:
    bool exhausted_ = false;
};

// The innermost thing that runs its nodes more than once a frame: the root or an iterator. `stamp` is new for each
// run, so a patch knows whether it is up to date; `path` tells the iterations of nested iterators apart.
struct Scope {
    std::uint64_t stamp = 0;
    std::uint64_t path = 0;
    std::uint32_t index = 0, count = 1;
    Scope* outer = nullptr;
    bool iterates = false;
};

// Something that an input can take its value from.
class Source
{
public:
    virtual ~Source() = default;
    // Brings `value` up to date for the present frame and iteration.
    virtual void update(Evaluation& e) = 0;

    const PortValue& value() const { return value_; }
    std::uint64_t version() const { return version_; }
    PortType type() const { return type_; }

protected:
    explicit Source(PortType type)
        : type_(type)
        , value_(zeroOf(type))
    { }
    void assign(PortValue value)
    {
        if (sameValue(value, value_))
            return;
        value_ = std::move(value);
        ++version_;
    }
    PortType type_;

private:
    PortValue value_;
    std::uint64_t version_ = 1;
};

class InputPort
{
public:
    InputPort(Patch& owner, std::string key, PortType type, PortValue usual);
    InputPort(const InputPort&) = delete;
    InputPort& operator=(const InputPort&) = delete;

    const std::string& key() const { return key_; }
    PortType type() const { return type_; }
    const PortValue& value() const { return value_; }

    // Brings the value up to date and tells whether it changed since the last pull.
    bool pull(Evaluation& e);

    // By hand: a stored value or a host's. No effect while it is connected.
    void set(PortValue value);
    void connect(Source* source);
    bool connected() const { return source_ != nullptr; }
    Source* source() const { return source_; }

    // A lazy input is pulled by the patch itself.
    bool lazy = false;

private:
    const std::string key_;
    const PortType type_;
    Source* source_ = nullptr;
    std::uint64_t seen_ = 0;
    PortValue value_;
    bool changed_ = true;
};

class OutputPort final : public Source
{
public:
    OutputPort(Patch& owner, std::string key, PortType type);
    const std::string& key() const { return key_; }
    void update(Evaluation& e) override;
    // Converts to the port's type. A structure that is too large becomes nothing.
    void set(PortValue value);

private:
    Patch& owner_;
    const std::string key_;
};

class PatchRegistry;

// A composition within a composition: what both count together.
struct Importing {
    const PatchRegistry* registry = nullptr;
    std::vector<std::string> files; // from the outermost inwards
    std::shared_ptr<std::size_t> patches; // of all that are being played together
};

// What the file says of a patch beyond its ports.
struct Settings {
    const Dictionary* values = nullptr; // null: none
    std::string identifier;
    std::string folder; // of the composition's file; empty if it has none
    std::shared_ptr<const Importing> importing = nullptr; // null: nothing can be imported
    std::set<std::string>* asked = nullptr; // takes the keys that a patch looks for; null: nobody wants to know

    const Value* find(const std::string& key) const;
    double number(const std::string& key, double usual) const; // finite, as long as `usual` is
    bool flag(const std::string& key, bool usual) const { return number(key, usual ? 1 : 0) != 0; }
    std::string text(const std::string& key, const std::string& usual = {}) const;
};

// What is wrong with a text of an author's that stands in a setting: a script, a kernel.
struct SourceFault {
    std::string setting;
    std::uint32_t line = 0, column = 0; // of that text, from 1; 0: of the whole
    std::string reason; // one line
};

// One element of the graph. Main thread.
class Patch
{
public:
    // How much a patch depends on more than its inputs.
    enum class Kind : std::uint8_t {
        Pure, // its outputs follow from its inputs: computed when one changed
        Timed, // follows the time or remembers: computed in every frame that asks for it
        Consumer, // draws
    };

    Patch() = default;
    virtual ~Patch();
    Patch(const Patch&) = delete;
    Patch& operator=(const Patch&) = delete;

    // Reads the settings and makes the ports that depend on them. Called once, before values are stored.
    virtual void configure(const Settings&) { }
    virtual Kind kind() const { return Kind::Pure; }
    // What `inspect` names if the class is known but its settings ask for what isn't there; else empty.
    virtual std::string unsupported() const { return {}; }
    // What `make` says of the texts in the settings that `configure` was given; nothing of them is run.
    virtual std::vector<SourceFault> sourceFaults(const Settings&) const { return {}; }

    // Computes the outputs. The inputs are up to date, but for lazy ones.
    virtual void evaluate(Evaluation&) { }
    // A consumer draws.
    virtual void draw(Evaluation&) { }

    // Up to date for the present frame and iteration. A patch that is asked while it is being computed answers with
    // the outputs of its last run.
    virtual void update(Evaluation& e);
    // A consumer's turn in the layers.
    virtual void execute(Evaluation& e);
    // The update that was put off because too many patches were waiting.
    void catchUp(Evaluation& e);

    const std::vector<std::unique_ptr<InputPort>>& inputs() const { return inputs_; }
    const std::vector<std::unique_ptr<OutputPort>>& outputs() const { return outputs_; }
    InputPort* input(const std::string& key) const;
    // A source to connect to; a macro gives its published outputs here.
    virtual Source* output(const std::string& key);

    // The patch's time, by its time base.
    double time() const { return time_; }

    Macro* parent = nullptr;
    Scope* scope = nullptr;
    const FileNode* node = nullptr; // that it was made of, of a file that outlives it; null: none
    enum class Timebase : std::uint8_t { Parent, Local, External } timebase = Timebase::Parent;

    InputPort& addInput(std::string key, PortType type, PortValue usual);
    OutputPort& addOutput(std::string key, PortType type);
    // Makes the ports that are common to the kind: _enable, _time. Called after configure, and once the nodes of a
    // macro are there.
    void addSystemPorts();

protected:
    // True if it has an _enable.
    virtual bool canRest() const { return kind() == Kind::Consumer; }
    bool pullInputs(Evaluation& e);
    void takeTime(Evaluation& e);
    bool enabled(Evaluation& e);
    // False if it is up to date, already running or too deep; else it is running until `leave`.
    bool enter(Evaluation& e);
    void leave(Evaluation& e);
    bool running() const { return running_; }
    // Whoever asked within a cycle has read old values and must see the new ones.
    void noteCycle(Evaluation& e, std::uint64_t versionBefore);
    // Moves on with each change of an output.
    virtual std::uint64_t versionOfOutputs() const;

private:
    void drawObserved(Evaluation& e);

    std::vector<std::unique_ptr<InputPort>> inputs_;
    std::vector<std::unique_ptr<OutputPort>> outputs_;
    std::unordered_map<std::string_view, InputPort*> inputsByKey_; // once there are many
    InputPort* enable_ = nullptr;
    InputPort* externalTime_ = nullptr;
    std::uint64_t stamp_ = 0;
    bool fresh_ = true, running_ = false, askedWhileRunning_ = false, late_ = false;
    double time_ = 0, localStart_ = 0;
    std::uint64_t lastFrame_ = 0;
};

// Typed ports, said once in the patch's class.
template <class T> struct PortTraits;
template <> struct PortTraits<bool> {
    static constexpr PortType type = PortType::Boolean;
};
template <> struct PortTraits<std::uint32_t> {
    static constexpr PortType type = PortType::Index;
};
template <> struct PortTraits<double> {
    static constexpr PortType type = PortType::Number;
};
template <> struct PortTraits<std::string> {
    static constexpr PortType type = PortType::String;
};
template <> struct PortTraits<NSColor> {
    static constexpr PortType type = PortType::Color;
};
template <> struct PortTraits<ImageRef> {
    static constexpr PortType type = PortType::Image;
};
template <> struct PortTraits<StructureRef> {
    static constexpr PortType type = PortType::Structure;
};
template <> struct PortTraits<MeshRef> {
    static constexpr PortType type = PortType::Mesh;
};
template <> struct PortTraits<PortValue> {
    static constexpr PortType type = PortType::Virtual;
};

template <class T> class Input
{
public:
    Input(Patch& owner, std::string key, T usual = {})
        : port_(owner.addInput(std::move(key), PortTraits<T>::type, PortValue(std::move(usual))))
    { }
    const T& operator()() const
    {
        if constexpr (std::is_same_v<T, PortValue>)
            return port_.value();
        else if constexpr (std::is_same_v<T, std::string>)
            return *port_.value().template as<std::string>();
        else
            return std::get<T>(static_cast<const PortValue::Base&>(port_.value()));
    }
    bool pull(Evaluation& e) { return port_.pull(e); }
    InputPort& port() { return port_; }

private:
    InputPort& port_;
};

template <class T> class Output
{
public:
    Output(Patch& owner, std::string key)
        : port_(owner.addOutput(std::move(key), PortTraits<T>::type))
    { }
    void set(T value)
    {
        if constexpr (std::is_same_v<T, PortValue>)
            port_.set(std::move(value));
        else
            port_.set(PortValue(std::move(value)));
    }

private:
    OutputPort& port_;
};

// Memory that a patch keeps for each iteration that it runs in.
template <class T> class PerIteration
{
public:
    T& at(const Scope* scope)
    {
        constexpr std::size_t kMost = 100'000; // iterations remembered; beyond, memory starts anew
        if (memory_.size() >= kMost)
            memory_.clear();
        return memory_[scope ? scope->path : 0];
    }

private:
    std::unordered_map<std::uint64_t, T> memory_;
};

} // namespace vitrel::qc
