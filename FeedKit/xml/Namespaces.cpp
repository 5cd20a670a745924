#include "FeedKit/xml/Namespaces.h"

#include <algorithm>

namespace FeedKit {

namespace {

// Feeds declare a dozen, most of them on the root. Those beyond are as good as not declared.
constexpr std::size_t kMostDeclarations = 256;
constexpr std::size_t kLongestURI = 1024;
constexpr std::string_view kDeclaration = "xmlns";

} // namespace

void Namespaces::open(const ElementAttributes& attributes)
{
    ++depth_;
    attributes.forEach([&](std::string_view name, std::string_view value) {
        if (!name.starts_with(kDeclaration) || declarations_.size() == kMostDeclarations || value.size() > kLongestURI)
            return;
        name.remove_prefix(kDeclaration.size());
        if (!name.empty() && name[0] != ':')
            return;
        declarations_.push_back({std::string(name.substr(name.empty() ? 0 : 1)), std::string(value), depth_});
        ++version_;
    });
}

void Namespaces::close()
{
    while (!declarations_.empty() && declarations_.back().depth == depth_) {
        declarations_.pop_back();
        ++version_;
    }
    --depth_;
}

std::string_view Namespaces::uriOf(std::string_view prefix) const
{
    const auto found = std::find_if(declarations_.rbegin(), declarations_.rend(),
        [&](const Declaration& declaration) { return declaration.prefix == prefix; });
    return found == declarations_.rend() ? std::string_view() : std::string_view(found->uri);
}

} // namespace FeedKit
