#include "platform/quartzcomposer/checking/BroughtDefinitions.h"

#include "platform/quartzcomposer/file/TextForm.h"

#include <algorithm>

namespace vitrel::qc {

std::set<std::string> bringDefinitions(TextNode& composition, const std::string& folder,
    const std::function<void(std::size_t offset, std::string what)>& tell)
{
    std::set<std::string> brought;
    // The last member of a name is the one that counts.
    const auto all = std::find_if(composition.children.rbegin(), composition.children.rend(),
        [](const TextNode& member) { return member.key == "virtualPatches"; });
    if (all == composition.children.rend())
        return brought;
    for (TextNode& definition : all->children) {
        if (!definition.is(TextNode::Kind::Object) || definition.children.size() != 1 || !definition.member("file"))
            continue;
        const TextNode file = definition.children[0];
        if (!file.is(TextNode::Kind::String)) {
            tell(file.offset, "\"file\" is the name of a text beside this one or beneath");
            continue;
        }
        const auto text = definitionText(folder, file.text);
        auto tree = text ? textTree(*text) : Result<TextNode, TextFault>(TextFault{0, text.error().reason});
        if (!tree) {
            tell(file.offset, tree.error().reason);
            continue;
        }
        definition.children = std::move(tree->children);
        brought.insert(definition.key);
    }
    return brought;
}

} // namespace vitrel::qc
