// Lists with and without keys.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>
#include <cmath>
#include <deque>

namespace vitrel::qc {

namespace {

// What a queue may hold: more than any trail or delay needs.
constexpr std::uint32_t kMaxQueue = 10'000;

enum class By { Index, Key, KeyAtIndex };

template <By Way> class MemberPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        const DescribedPort from{"inputStructure", "What it is taken from"}, none{"inputIndex", "Without effect here"},
            without{"inputKey", "Without effect here"};
        if (Way == By::Index)
            return {"Structure Index Member", "A member of a structure by its place.",
                {from, {"inputIndex", "The place, from 0 on"}, without,
                    {"outputMember", "The member; nothing if there is none"}}};
        if (Way == By::Key)
            return {"Structure Key Member", "A member of a structure by its key.",
                {from, none, {"inputKey", "The key, as it is written"},
                    {"outputMember", "The member; nothing if there is none, as in lists without keys"}}};
        return {"Structure Key at Index", "The key of a member, by its place.",
            {from, {"inputIndex", "The place, from 0 on"}, without,
                {"outputMember", "The key; nothing if there is none, as in lists without keys"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};
    Input<std::uint32_t> index{*this, "inputIndex"};
    Input<std::string> key{*this, "inputKey"};
    Output<PortValue> member{*this, "outputMember"};

    void evaluate(Evaluation&) override
    {
        const Structure* from = structure().get();
        if (!from) {
            member.set({});
            return;
        }
        if (Way == By::KeyAtIndex) {
            member.set(
                from->keyed && index() < from->members.size() ? PortValue(from->members[index()].key) : PortValue());
            return;
        }
        const PortValue* found = Way == By::Key ? from->atKey(key()) : from->atIndex(index());
        member.set(found ? *found : PortValue());
    }
};

class CountPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Count", "How many members a structure has.",
            {{"inputStructure", "What is counted"}, {"outputCount", "How many; 0 for nothing"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};
    Output<std::uint32_t> count{*this, "outputCount"};
    void evaluate(Evaluation&) override
    {
        count.set(structure() ? static_cast<std::uint32_t>(structure()->members.size()) : 0);
    }
};

class QueuePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Queue", "Keeps the last values, the oldest first.",
            {{"inputValue", "What is put in at the end"},
                {"inputSize", "How many are kept", {"", 0, double(kMaxQueue)}},
                {"inputFilling", "Whether values are put in"},
                {"inputResetSignal", "When it rises, the queue is emptied"},
                {"outputQueue", "The kept values, a list"}},
            {{"continuous", DescribedSetting::Flag,
                "Whether a value is put in with each frame; if not, with each change. On without it"}}};
    }

private:
    Input<PortValue> value{*this, "inputValue"};
    Input<std::uint32_t> size{*this, "inputSize", 2};
    Input<bool> filling{*this, "inputFilling", true}, reset{*this, "inputResetSignal"};
    Output<StructureRef> result{*this, "outputQueue"};

    void configure(const Settings& settings) override { continuous_ = settings.flag("continuous", true); }
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        const std::size_t most = std::min(size(), kMaxQueue);
        bool changed = false;
        if (reset() && !wasReset_ && !members_.empty()) {
            members_.clear();
            changed = true;
        }
        wasReset_ = reset();
        const bool news = members_.empty() || !sameValue(members_.back(), value());
        if (filling() && (continuous_ || news)) {
            // A full queue of one value stays what it is.
            const bool uniform = members_.size() == most
                && std::all_of(
                    members_.begin(), members_.end(), [&](const PortValue& v) { return sameValue(v, value()); });
            if (!uniform) {
                members_.push_back(value());
                changed = true;
            }
        }
        while (members_.size() > most) {
            members_.pop_front();
            changed = true;
        }
        if (!changed && result_)
            return;
        auto list = std::make_shared<Structure>();
        for (const PortValue& member : members_)
            list->members.push_back({{}, member});
        result_ = list;
        result.set(result_);
        if (!list->fits()) // a queue of itself, or one too many
            members_.clear();
        if (changed && continuous_)
            e.needFrame();
    }
    bool continuous_ = true, wasReset_ = false;
    std::deque<PortValue> members_;
    StructureRef result_;
};

// Numbers before texts, before the rest; texts by their bytes.
bool ascends(const PortValue& a, const PortValue& b)
{
    const auto rank = [](const PortValue& v) {
        return v.as<double>() || v.as<bool>() || v.as<std::uint32_t>() ? 0 : v.as<std::string>() ? 1 : 2;
    };
    if (rank(a) != rank(b))
        return rank(a) < rank(b);
    if (rank(a) == 1)
        return *a.as<std::string>() < *b.as<std::string>();
    if (rank(a) == 2)
        return false;
    const PortValue x = converted(a, PortType::Number), y = converted(b, PortType::Number);
    const double p = *x.as<double>(), q = *y.as<double>();
    return !std::isnan(p) && (std::isnan(q) || p < q);
}

class SortPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Sort", "Sorts a list, ascending: numbers first, then texts, then structures.",
            {{"inputStructure", "The list"},
                {"inputSortingKey",
                    "The key of that of each member by which they are sorted; none: the members themselves"},
                {"outputStructure", "The sorted list"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};
    Input<std::string> key{*this, "inputSortingKey"};
    Output<StructureRef> result{*this, "outputStructure"};
    void evaluate(Evaluation&) override
    {
        if (!structure()) {
            result.set(nullptr);
            return;
        }
        const auto sortedBy = [this](const PortValue& member) {
            const auto* inner = member.as<StructureRef>();
            const PortValue* found = key().empty() || !inner || !*inner ? nullptr : (*inner)->atKey(key());
            return key().empty() ? member : found ? *found : PortValue();
        };
        auto sorted = std::make_shared<Structure>(*structure());
        std::stable_sort(sorted->members.begin(), sorted->members.end(),
            [&](const auto& a, const auto& b) { return ascends(sortedBy(a.value), sortedBy(b.value)); });
        result.set(sorted);
    }
};

class RangePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Range", "A part of a structure.",
            {{"inputStructure", "What the part is taken from"}, {"inputIndex", "Its first member, from 0 on"},
                {"inputLength", "How many members, or as many as there are"}, {"outputStructure", "The part"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};
    Input<std::uint32_t> first{*this, "inputIndex"}, length{*this, "inputLength", 1};
    Output<StructureRef> result{*this, "outputStructure"};
    void evaluate(Evaluation&) override
    {
        if (!structure()) {
            result.set(nullptr);
            return;
        }
        auto part = std::make_shared<Structure>();
        part->keyed = structure()->keyed;
        const auto& all = structure()->members;
        const std::size_t from = std::min<std::size_t>(first(), all.size());
        const std::size_t to = from + std::min<std::size_t>(length(), all.size() - from);
        part->members.assign(
            all.begin() + static_cast<std::ptrdiff_t>(from), all.begin() + static_cast<std::ptrdiff_t>(to));
        result.set(part);
    }
};

class ReversePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Reverse", "The members in the reverse order; they keep their keys.",
            {{"inputStructure", "What is turned round"}, {"outputStructure", "The same members, the last first"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};
    Output<StructureRef> result{*this, "outputStructure"};
    void evaluate(Evaluation&) override
    {
        if (!structure()) {
            result.set(nullptr);
            return;
        }
        auto reversed = std::make_shared<Structure>(*structure());
        std::reverse(reversed->members.begin(), reversed->members.end());
        result.set(reversed);
    }
};

} // namespace

void registerStructuresPatches(PatchRegistry& registry)
{
    registry.family("Structures and scripts");
    registry.add<MemberPatch<By::Index>>("QCStructureMember");
    registry.add<MemberPatch<By::Key>>("QCStructureMember/key");
    registry.add<MemberPatch<By::KeyAtIndex>>("QCStructureMember/keyAtIndex");
    registry.add<CountPatch>("QCStructureCount");
    registry.add<QueuePatch>("QCQueue");
    registry.add<SortPatch>("QCStructureSort");
    registry.add<RangePatch>("QCStructureRange");
    registry.add<ReversePatch>("QCStructureReverse");
}

} // namespace vitrel::qc
