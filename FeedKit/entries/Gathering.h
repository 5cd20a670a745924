#pragma once

#include "FeedKit/entries/Entries.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string_view>

// What the formats' views are made with.
namespace FeedKit::gathering {

// A field of a model, or null where the object that would have it isn't there.
using Source = const std::optional<std::string>*;

template <class Owner> Source in(const std::shared_ptr<Owner>& owner, std::optional<std::string> Owner::*field)
{
    return owner ? &((*owner).*field) : nullptr;
}
// A field of the attributes of an element.
template <class Element, class Attributes = typename Element::Attributes>
Source attributeOf(const std::shared_ptr<Element>& element, std::optional<std::string> Attributes::*field)
{
    return element && element->attributes ? &((*element->attributes).*field) : nullptr;
}

// The first that holds more than white space, or null.
const std::string* firstSaid(std::initializer_list<Source> sources);

// What addresses are resolved against, and how much a view may repeat: a feed of many short entries must not grow
// without bound by an address or an author that is written once.
class Base
{
public:
    explicit Base(URL url)
        : url_(std::move(url))
        , left_(std::make_shared<std::size_t>(kMostRepeated))
    { }
    const URL& url() const { return url_; }
    // Whether so many bytes more may be repeated; they are counted then.
    bool takes(std::size_t bytes)
    {
        *left_ -= std::min(*left_, bytes);
        return *left_ > 0;
    }
    // Of what has this "xml:base", which may be null; it counts against the same.
    Base within(Source xmlBase);

private:
    // Some hundred bytes at each of as many entries as a model can have.
    static constexpr std::size_t kMostRepeated = 32u << 20;

    URL url_;
    std::shared_ptr<std::size_t> left_;
};

enum class TextForm { plain, html };

// Each is absent for null and for what holds nothing.
std::optional<std::string> lineOf(const std::string* said, TextForm form);
std::optional<std::string> linesOf(const std::string* said, TextForm form);
std::optional<EntryText> textOf(const std::string* said, TextForm form);
std::optional<std::string> addressOf(const std::string* said, Base& base);
std::optional<std::int64_t> amountOf(const std::optional<std::int64_t>& said);
std::optional<double> amountOf(const std::optional<double>& said);

// "Name", "a@b.c", "a@b.c (Name)", "Name (a@b.c)" or "Name <a@b.c>", as RSS tells of people.
std::optional<EntryPerson> personOf(const std::string* said);
std::optional<EntryPerson> personOf(Source name, Source email, Source url, Base& base);

// Those of the feed for an entry that names none.
std::vector<EntryPerson> repeated(const std::vector<EntryPerson>& people, Base& base);

// Adds `name` if it isn't among them yet; to be used for one list from its beginning.
class Distinct
{
public:
    Distinct();
    ~Distinct();
    bool isNew(const std::string& text);

private:
    struct Known;
    std::unique_ptr<Known> known_;
};

// The files of one entry, and what of them is to be seen and heard.
class Files
{
public:
    explicit Files(Base& base)
        : base_(base)
    { }

    // `medium` is Media RSS's word for what it is, where the type doesn't say it.
    void add(Source url, Source type, std::optional<std::int64_t> length, std::optional<double> duration,
        std::string_view medium = {});
    void add(const MediaNamespace& media);

    // Of the first picture.
    const std::optional<std::string>& image() const { return image_; }
    std::vector<EntryFile> take() && { return std::move(files_); }
    void giveTo(Entry& entry, std::optional<double> duration) &&;

private:
    Base& base_;
    Distinct distinct_;
    std::vector<EntryFile> files_;
    std::optional<std::string> image_;
    std::optional<std::size_t> audio_;
};

// The first thumbnail of Media RSS.
std::optional<std::string> thumbnailOf(const MediaNamespace& media, Base& base);
// What Media RSS has of an entry, where the entry itself says nothing.
Source titleIn(const std::shared_ptr<MediaNamespace>& media);
std::optional<EntryText> descriptionOf(const std::shared_ptr<MediaNamespace>& media);
// The first picture that is shown in the entry's text, other than those of a pixel that count readers. It is relative
// to `ofText`, which may be null, else to the entry's page, else to `base`.
std::optional<std::string> shownImageOf(const Entry& entry, Base* ofText, Base& base);

// How a text construct or a content of Atom is to be read (RFC 4287, sections 3.1.1 and 4.1.3.1); absent for what is no
// text.
std::optional<TextForm> formOf(const std::optional<std::string>& type);
bool isRelated(const std::optional<std::string>& said, std::string_view relation);

// Of the links to the same in another form the first that is a page, else the first at all.
template <class Link>
std::optional<std::string> pageOf(const std::optional<std::vector<std::shared_ptr<Link>>>& links, Base& base)
{
    std::optional<std::string> found;
    for (std::size_t k = 0; links && k < links->size(); ++k) {
        const auto& said = (*links)[k]->attributes;
        if (!said || !(isRelated(said->rel, "") || isRelated(said->rel, "alternate")))
            continue;
        const bool isPage = !said->type || formOf(said->type) == TextForm::html;
        if (found && !isPage)
            continue;
        if (auto address = addressOf(firstSaid({&said->href}), base)) {
            found = std::move(address);
            if (isPage)
                break;
        }
    }
    return found;
}

// Where the feed itself lies, by its link.
template <class Link>
std::optional<std::string> selfOf(const std::optional<std::vector<std::shared_ptr<Link>>>& links, Base& base)
{
    for (std::size_t k = 0; links && k < links->size(); ++k) {
        const auto& said = (*links)[k]->attributes;
        if (said && isRelated(said->rel, "self"))
            return addressOf(firstSaid({&said->href}), base);
    }
    return std::nullopt;
}

// A part of the format's view each; ids that are missing and the feed's date come later.
void gatherRSS(const RSSFeed& feed, Base& base, Entries& to);
void gatherAtom(const AtomFeed& feed, Base& base, Entries& to);
void gatherJSON(const JSONFeed& feed, Base& base, Entries& to);

} // namespace FeedKit::gathering
