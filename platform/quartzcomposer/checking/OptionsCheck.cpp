#include "platform/quartzcomposer/checking/OptionsCheck.h"

#include "platform/quartzcomposer/checking/Diagnostic.h"
#include "platform/quartzcomposer/checking/NearestName.h"
#include "platform/quartzcomposer/file/TextOptions.h"

#include <algorithm>
#include <set>

namespace vitrel::qc {

namespace {

using Kind = TextNode::Kind;

std::string faultOfMember(const TextNode& value, OptionMember::Kind kind)
{
    const auto isText = [](const TextNode& node) { return node.is(Kind::String); };
    switch (kind) {
    case OptionMember::Text:
        return isText(value) ? "" : "a text is wanted";
    case OptionMember::Number:
        return value.is(Kind::Number) ? "" : "a number is wanted";
    case OptionMember::Texts:
        break;
    }
    return value.is(Kind::Array) && std::all_of(value.children.begin(), value.children.end(), isText)
        ? ""
        : "a list of texts is wanted";
}

void checkOption(const TextNode& option, const TellFault& tell)
{
    std::vector<std::string> members;
    for (const OptionMember& one : optionMembers())
        members.emplace_back(one.key);
    std::set<std::string_view> seen;
    for (const TextNode& member : option.children) {
        const OptionMember* known = optionMember(member.key);
        const std::string fault = known ? faultOfMember(member, known->kind) : "";
        if (!known)
            tell(member.keyOffset, "an option has no " + quoted(member.key) + nearestHint(member.key, members), false);
        else if (!fault.empty())
            tell(member.offset, quoted(member.key) + ": " + fault, false);
        if (!seen.insert(member.key).second)
            tell(member.keyOffset, "member " + quoted(member.key) + " stands twice here", false);
    }
    const TextNode *least = option.member("min"), *most = option.member("max");
    if (least && most && least->is(Kind::Number) && most->is(Kind::Number) && least->number > most->number)
        tell(most->offset, "\"max\" is less than \"min\"", true);
}

} // namespace

void checkOptions(
    const TextNode& options, const std::vector<std::string>& published, bool isForeign, const TellFault& tell)
{
    std::set<std::string_view> seen;
    for (const TextNode& option : options.children) {
        if (!seen.insert(option.key).second)
            tell(option.keyOffset, "option " + quoted(option.key) + " stands twice here", false);
        if (!isForeign && std::find(published.begin(), published.end(), option.key) == published.end())
            tell(option.keyOffset,
                "nothing is published as " + quoted(option.key) + " here" + nearestHint(option.key, published), false);
        if (option.is(Kind::Object))
            checkOption(option, tell);
        else
            tell(option.offset, "an option is an object with a \"title\" and the like", false);
    }
}

} // namespace vitrel::qc
