#include "FeedKit/json/JSONMore.h"

namespace FeedKit {

namespace {

namespace dom = simdjson::dom;

class Keeper
{
public:
    explicit Keeper(std::size_t& bytes)
        : bytes_(bytes)
    { }

    void keep(std::optional<std::string>& to, dom::element value)
    {
        std::string_view text;
        if (value.get(text))
            return;
        to.emplace(text);
        bytes_ += text.size();
    }

    void keep(std::optional<std::vector<JSONFeedAuthor>>& to, dom::element value)
    {
        dom::array authors;
        if (value.get(authors))
            return;
        to.emplace();
        for (const auto one : authors) {
            dom::object object;
            if (one.get(object))
                continue;
            bytes_ += sizeof(JSONFeedAuthor);
            auto& author = to->emplace_back();
            for (const auto member : object) {
                if (member.key == "name")
                    keep(author.name, member.value);
                else if (member.key == "url")
                    keep(author.url, member.value);
                else if (member.key == "avatar")
                    keep(author.avatar, member.value);
            }
        }
    }

    void keepExtension(JSONFeedMore& more, dom::key_value_pair member)
    {
        if (!more.extensions)
            more.extensions.emplace();
        auto& extension = more.extensions->emplace_back();
        extension.name.emplace(member.key);
        extension.text = simdjson::minify(member.value);
        bytes_ += sizeof(ExtensionElement) + extension.name->size() + extension.text->size();
    }

private:
    std::size_t& bytes_;
};

} // namespace

std::shared_ptr<JSONFeedMore> moreOf(dom::object object, std::size_t& bytes)
{
    JSONFeedMore more;
    Keeper keeper(bytes);
    for (const auto member : object) {
        if (member.key == "authors")
            keeper.keep(more.authors, member.value);
        else if (member.key == "language")
            keeper.keep(more.language, member.value);
        else if (member.key == "date_published")
            keeper.keep(more.datePublishedText, member.value);
        else if (member.key == "date_modified")
            keeper.keep(more.dateModifiedText, member.value);
        else if (member.key.starts_with('_'))
            keeper.keepExtension(more, member);
    }
    if (more == JSONFeedMore())
        return nullptr;
    bytes += sizeof(JSONFeedMore);
    return std::make_shared<JSONFeedMore>(std::move(more));
}

} // namespace FeedKit
