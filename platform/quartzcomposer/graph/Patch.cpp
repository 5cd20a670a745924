#include "platform/quartzcomposer/graph/Patch.h"

#include "platform/quartzcomposer/graph/Macro.h"

#include <cmath>
#include <ctime>

namespace vitrel::qc {

namespace {
// Patches that wait for each other are calls within calls; a longer chain than any author draws must not reach the
// end of the stack. What lies deeper answers with its last values, is computed later in the frame, and is seen in the
// frames that follow.
constexpr int kMaxWaiting = 3000;
// From here on a table pays; a macro may publish a hundred thousand.
constexpr std::size_t kManyPorts = 32;
// Far more than can be computed sixty times a second.
constexpr std::uint64_t kMaxEvaluations = 1'000'000;
constexpr std::chrono::seconds kLongestFrame{2};
} // namespace

std::chrono::steady_clock::time_point Evaluation::end() const
{
    return begun + kLongestFrame;
}

// Asked ahead of each patch, since one alone may take a second: a picture to decode, a text to search.
bool Evaluation::exhausted()
{
    // The steady clock, some milliseconds late, for a tenth of the price.
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return std::chrono::steady_clock::time_point(
            std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
    };
    if (!exhausted_ && (evaluations >= kMaxEvaluations || now() > end())) {
        exhausted_ = true;
        needFrame();
    }
    return exhausted_;
}

// More may be added on the way.
void Evaluation::remember(std::size_t from)
{
    for (std::size_t k = from; k < remembering.size(); ++k)
        remembering[k]->rememberPublished(*this);
    remembering.resize(from);
}

InputPort::InputPort(Patch&, std::string key, PortType type, PortValue usual)
    : key_(std::move(key))
    , type_(type)
    , value_(std::move(usual))
{ }

bool InputPort::pull(Evaluation& e)
{
    if (source_) {
        source_->update(e);
        if (source_->version() != seen_) {
            seen_ = source_->version();
            PortValue now = converted(source_->value(), type_);
            if (!sameValue(now, value_)) {
                value_ = std::move(now);
                changed_ = true;
            }
        }
    }
    return std::exchange(changed_, false);
}

void InputPort::set(PortValue value)
{
    if (source_)
        return;
    PortValue now = converted(value, type_);
    if (const auto* structure = now.as<StructureRef>(); structure && *structure && !(*structure)->fits())
        now = zeroOf(type_);
    if (sameValue(now, value_))
        return;
    value_ = std::move(now);
    changed_ = true;
}

void InputPort::connect(Source* source)
{
    source_ = source;
    seen_ = 0;
}

OutputPort::OutputPort(Patch& owner, std::string key, PortType type)
    : Source(type)
    , owner_(owner)
    , key_(std::move(key))
{ }

void OutputPort::update(Evaluation& e)
{
    owner_.update(e);
}
void OutputPort::set(PortValue value)
{
    PortValue now = converted(value, type_);
    const auto* structure = now.as<StructureRef>();
    assign(structure && *structure && !(*structure)->fits() ? zeroOf(type_) : std::move(now));
}

const Value* Settings::find(const std::string& key) const
{
    if (asked)
        asked->insert(key);
    if (!values)
        return nullptr;
    const auto found = values->find(key);
    return found == values->end() ? nullptr : &found->second;
}

double Settings::number(const std::string& key, double usual) const
{
    const Value* value = find(key);
    const double number = value ? value->number().value_or(usual) : usual;
    return std::isfinite(number) ? number : usual;
}

std::string Settings::text(const std::string& key, const std::string& usual) const
{
    const Value* value = find(key);
    const auto* text = value ? value->as<std::string>() : nullptr;
    return text ? *text : usual;
}

Patch::~Patch() = default;

InputPort& Patch::addInput(std::string key, PortType type, PortValue usual)
{
    inputs_.push_back(std::make_unique<InputPort>(*this, std::move(key), type, std::move(usual)));
    if (inputs_.size() == kManyPorts) {
        for (const auto& port : inputs_)
            inputsByKey_.emplace(port->key(), port.get());
    } else if (inputs_.size() > kManyPorts) {
        inputsByKey_.emplace(inputs_.back()->key(), inputs_.back().get());
    }
    return *inputs_.back();
}

OutputPort& Patch::addOutput(std::string key, PortType type)
{
    outputs_.push_back(std::make_unique<OutputPort>(*this, std::move(key), type));
    return *outputs_.back();
}

void Patch::addSystemPorts()
{
    if (canRest() && !input("_enable"))
        enable_ = &addInput("_enable", PortType::Boolean, true);
    if (timebase == Timebase::External && !input("_time"))
        externalTime_ = &addInput("_time", PortType::Number, 0.0);
    if (enable_)
        enable_->lazy = true;
}

InputPort* Patch::input(const std::string& key) const
{
    if (inputs_.size() >= kManyPorts) {
        const auto found = inputsByKey_.find(key);
        return found == inputsByKey_.end() ? nullptr : found->second;
    }
    for (const auto& port : inputs_) {
        if (port->key() == key)
            return port.get();
    }
    return nullptr;
}

Source* Patch::output(const std::string& key)
{
    for (const auto& port : outputs_) {
        if (port->key() == key)
            return port.get();
    }
    return nullptr;
}

bool Patch::pullInputs(Evaluation& e)
{
    bool changed = false;
    for (const auto& port : inputs_) {
        if (!port->lazy)
            changed |= port->pull(e);
    }
    return changed;
}

void Patch::takeTime(Evaluation& e)
{
    const double parentTime = parent ? parent->timeForNodes(e) : e.time;
    switch (timebase) {
    case Timebase::Parent:
        time_ = parentTime;
        break;
    case Timebase::Local:
        // Starts anew when it wasn't used in the frame before.
        if (lastFrame_ + 1 < e.frame || lastFrame_ == 0)
            localStart_ = parentTime;
        time_ = parentTime - localStart_;
        break;
    case Timebase::External:
        time_ = externalTime_ ? std::get<double>(static_cast<const PortValue::Base&>(externalTime_->value()))
                              : parentTime;
        break;
    }
    lastFrame_ = e.frame;
}

bool Patch::enter(Evaluation& e)
{
    if (running_) {
        askedWhileRunning_ = true;
        return false;
    }
    const std::uint64_t stamp = scope ? scope->stamp : e.frame;
    if (stamp_ == stamp || e.exhausted())
        return false;
    if (e.depth >= kMaxWaiting) {
        // An iteration won't come back, and a consumer can't draw out of its turn.
        if (kind() == Kind::Consumer || (scope && scope->iterates))
            e.needFrame();
        else if (!std::exchange(late_, true))
            e.late.push_back(this);
        return false;
    }
    stamp_ = stamp;
    running_ = true;
    ++e.depth;
    if (e.observer)
        e.observer->enters(*this);
    return true;
}

void Patch::noteCycle(Evaluation& e, std::uint64_t versionBefore)
{
    if (std::exchange(askedWhileRunning_, false) && versionBefore != versionOfOutputs())
        e.needFrame();
}

void Patch::leave(Evaluation& e)
{
    if (e.observer)
        e.observer->leaves(*this);
    --e.depth;
    running_ = false;
}

std::uint64_t Patch::versionOfOutputs() const
{
    std::uint64_t sum = 0;
    for (const auto& port : outputs_)
        sum += port->version();
    return sum;
}

void Patch::catchUp(Evaluation& e)
{
    late_ = false;
    const std::uint64_t before = versionOfOutputs();
    update(e);
    if (versionOfOutputs() != before)
        e.needFrame();
}

void Patch::update(Evaluation& e)
{
    if (!enter(e))
        return;
    const bool changed = pullInputs(e);
    if (kind() != Kind::Pure || timebase != Timebase::Parent)
        takeTime(e);
    if (e.exhausted()) {
        fresh_ = true; // the change waits for the next frame
    } else if (changed || fresh_ || kind() != Kind::Pure) {
        fresh_ = false;
        ++e.evaluations;
        if (e.observer)
            e.observer->computes();
        const std::uint64_t before = versionOfOutputs();
        evaluate(e);
        noteCycle(e, before);
    }
    askedWhileRunning_ = false;
    leave(e);
}

bool Patch::enabled(Evaluation& e)
{
    if (!enable_)
        return true;
    enable_->pull(e);
    return std::get<bool>(static_cast<const PortValue::Base&>(enable_->value()));
}

void Patch::drawObserved(Evaluation& e)
{
    if (e.observer) {
        e.observer->computes();
        e.observer->draws();
    }
    draw(e);
}

void Patch::execute(Evaluation& e)
{
    if (!enabled(e))
        return;
    if (!enter(e)) {
        if (e.copy > 0 && !running_ && !e.exhausted()) {
            if (e.observer)
                e.observer->enters(*this);
            ++e.evaluations;
            drawObserved(e);
            if (e.observer)
                e.observer->leaves(*this);
        }
        return;
    }
    pullInputs(e);
    takeTime(e);
    if (!e.exhausted()) {
        ++e.evaluations;
        evaluate(e);
        drawObserved(e);
    }
    leave(e);
}

} // namespace vitrel::qc
