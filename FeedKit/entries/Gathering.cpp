#include "FeedKit/entries/Gathering.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/html/References.h"
#include "FeedKit/html/TagScanner.h"
#include "FeedKit/html/Text.h"
#include "base/Text.h"

#include <unordered_set>

namespace FeedKit::gathering {

namespace {

using vitrel::trimmed;

std::optional<std::string> unlessEmpty(std::string text)
{
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

// White space run together, as in lineOfHTML.
std::string plainLine(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const bool isBlank = static_cast<unsigned char>(c) <= ' ' || c == 0x7F;
        if (!isBlank)
            out += c;
        else if (!out.empty() && out.back() != ' ')
            out += ' ';
    }
    if (out.ends_with(' '))
        out.pop_back();
    return out;
}

// Line ends as LF, none at the ends.
std::string plainLines(std::string_view text)
{
    text = trimmed(text);
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\r')
            out += text[at];
        else if (at + 1 >= text.size() || text[at + 1] != '\n')
            out += '\n';
    }
    return out;
}

// Media types by the ends of files' names, where a feed says none: RFC 3003, RFC 4337, RFC 5334 and the IANA's list.
constexpr std::pair<std::string_view, std::string_view> kTypesOfEnds[]
    = {{".mp3", "audio/mpeg"}, {".m4a", "audio/mp4"}, {".ogg", "audio/ogg"}, {".oga", "audio/ogg"},
        {".opus", "audio/ogg"}, {".aac", "audio/aac"}, {".flac", "audio/flac"}, {".mp4", "video/mp4"},
        {".m4v", "video/mp4"}, {".webm", "video/webm"}, {".jpg", "image/jpeg"}, {".jpeg", "image/jpeg"},
        {".png", "image/png"}, {".gif", "image/gif"}, {".webp", "image/webp"}, {".svg", "image/svg+xml"}};

std::optional<std::string> typeByEnd(const std::string& address)
{
    const URL url(address);
    const auto path = url.path();
    for (const auto& [end, type] : kTypesOfEnds) {
        if (path.size() > end.size() && sameIgnoringCase(path.substr(path.size() - end.size()), end))
            return std::string(type);
    }
    return std::nullopt;
}

bool isOfKind(const EntryFile& file, std::string_view medium, std::string_view kind)
{
    if (file.type && file.type->size() > kind.size() && (*file.type)[kind.size()] == '/')
        return sameIgnoringCase(std::string_view(*file.type).substr(0, kind.size()), kind);
    return sameIgnoringCase(medium, kind);
}

bool isAddressOfMail(std::string_view text)
{
    const auto at = text.find('@');
    return at != text.npos && at > 0 && at + 1 < text.size() && text.find(' ') == text.npos;
}

} // namespace

const std::string* firstSaid(std::initializer_list<Source> sources)
{
    for (const auto source : sources) {
        if (source && *source && !trimmed(**source).empty())
            return &**source;
    }
    return nullptr;
}

std::optional<TextForm> formOf(const std::optional<std::string>& said)
{
    const auto type = vitrel::asciiLowercase(trimmed(said ? std::string_view(*said) : std::string_view()));
    if (type == "html" || type == "xhtml" || type.starts_with("text/html") || type.starts_with("application/xhtml+xml"))
        return TextForm::html;
    if (type.empty() || type == "text" || type.starts_with("text/"))
        return TextForm::plain;
    return std::nullopt;
}

bool isRelated(const std::optional<std::string>& said, std::string_view relation)
{
    return sameIgnoringCase(trimmed(said ? std::string_view(*said) : std::string_view()), relation);
}

Base Base::within(Source xmlBase)
{
    auto base = *this;
    if (const auto found = addressOf(firstSaid({xmlBase}), base))
        base.url_ = URL(*found);
    return base;
}

std::optional<std::string> lineOf(const std::string* said, TextForm form)
{
    return said ? unlessEmpty(form == TextForm::html ? lineOfHTML(*said) : plainLine(*said)) : std::nullopt;
}

std::optional<std::string> linesOf(const std::string* said, TextForm form)
{
    return said ? unlessEmpty(form == TextForm::html ? textOfHTML(*said) : plainLines(*said)) : std::nullopt;
}

std::optional<EntryText> textOf(const std::string* said, TextForm form)
{
    if (!said)
        return std::nullopt;
    EntryText made{linesOf(said, form), std::nullopt};
    if (form == TextForm::html)
        made.markup = unlessEmpty(std::string(trimmed(*said)));
    else if (made.text)
        made.markup = htmlOfText(*made.text);
    return made.text || made.markup ? std::optional(std::move(made)) : std::nullopt;
}

std::optional<std::string> addressOf(const std::string* said, Base& base)
{
    if (!said)
        return std::nullopt;
    auto written = std::string(trimmed(*said));
    // What resolving costs is the base's length, whatever comes out.
    const URL address(written);
    if (address.scheme().empty() && !base.takes(base.url().text().size()))
        return unlessEmpty(std::move(written));
    const auto found = resolved(base.url(), written);
    return unlessEmpty(found ? found->text() : written);
}

std::optional<std::int64_t> amountOf(const std::optional<std::int64_t>& said)
{
    return said && *said > 0 ? said : std::nullopt;
}
std::optional<double> amountOf(const std::optional<double>& said)
{
    return said && *said > 0 ? said : std::nullopt;
}

std::optional<EntryPerson> personOf(const std::string* said)
{
    if (!said)
        return std::nullopt;
    std::string resolvedText;
    appendResolved(resolvedText, *said, ReferencePlace::text);
    const auto line = plainLine(resolvedText);
    EntryPerson person;
    const char close = line.empty() ? ' ' : line.back();
    const auto open = close == ')' ? line.find('(') : close == '>' ? line.find('<') : line.npos;
    if (open != line.npos) {
        const auto before = trimmed(std::string_view(line).substr(0, open));
        const auto inside = trimmed(std::string_view(line).substr(open + 1, line.size() - open - 2));
        const bool isInside = isAddressOfMail(inside);
        if (isInside || isAddressOfMail(before)) {
            person.email = unlessEmpty(std::string(isInside ? inside : before));
            person.name = unlessEmpty(std::string(isInside ? before : inside));
            return person;
        }
    }
    (isAddressOfMail(line) ? person.email : person.name) = unlessEmpty(line);
    return person.name || person.email ? std::optional(person) : std::nullopt;
}

std::optional<EntryPerson> personOf(Source name, Source email, Source url, Base& base)
{
    EntryPerson person{lineOf(firstSaid({name}), TextForm::plain), lineOf(firstSaid({email}), TextForm::plain),
        addressOf(firstSaid({url}), base)};
    return person.name || person.email || person.url ? std::optional(std::move(person)) : std::nullopt;
}

std::vector<EntryPerson> repeated(const std::vector<EntryPerson>& people, Base& base)
{
    std::size_t bytes = 0;
    for (const auto& person : people) {
        bytes += sizeof person;
        for (const auto* text : {&person.name, &person.email, &person.url})
            bytes += *text ? (*text)->size() : 0;
    }
    return base.takes(bytes) ? people : std::vector<EntryPerson>();
}

struct Distinct::Known {
    std::unordered_set<std::string> texts;
};
Distinct::Distinct() = default;
Distinct::~Distinct() = default;

bool Distinct::isNew(const std::string& text)
{
    if (!known_)
        known_ = std::make_unique<Known>(); // most entries have nothing to compare
    return known_->texts.insert(text).second;
}

void Files::add(Source url, Source type, std::optional<std::int64_t> length, std::optional<double> duration,
    std::string_view medium)
{
    EntryFile file{addressOf(firstSaid({url}), base_), lineOf(firstSaid({type}), TextForm::plain), amountOf(length),
        amountOf(duration)};
    if (!file.url || !distinct_.isNew(*file.url))
        return;
    if (!file.type)
        file.type = typeByEnd(*file.url);
    if (!image_ && isOfKind(file, medium, "image"))
        image_ = file.url;
    if (!audio_ && isOfKind(file, medium, "audio"))
        audio_ = files_.size();
    files_.push_back(std::move(file));
}

void Files::add(const MediaNamespace& media)
{
    const auto addAll = [&](const std::optional<std::vector<std::shared_ptr<MediaContent>>>& contents) {
        if (!contents)
            return;
        for (const auto& content : *contents) {
            if (!content->attributes)
                continue;
            const auto& said = *content->attributes;
            const auto seconds = said.duration ? std::optional(static_cast<double>(*said.duration)) : std::nullopt;
            add(&said.url, &said.type, said.fileSize, seconds, said.medium ? *said.medium : std::string_view());
        }
    };
    addAll(media.mediaContents);
    if (media.mediaGroup)
        addAll(media.mediaGroup->mediaContents);
}

void Files::giveTo(Entry& entry, std::optional<double> duration) &&
{
    entry.enclosures = std::move(files_);
    if (!audio_)
        return;
    auto& heard = entry.enclosures[*audio_];
    if (!heard.duration)
        heard.duration = amountOf(duration);
    entry.audio = heard;
}

std::optional<std::string> thumbnailOf(const MediaNamespace& media, Base& base)
{
    const auto first = [&](const std::optional<std::vector<std::shared_ptr<MediaThumbnail>>>& thumbnails) {
        std::optional<std::string> found;
        for (std::size_t k = 0; thumbnails && k < thumbnails->size() && !found; ++k)
            found = addressOf(firstSaid({attributeOf((*thumbnails)[k], &MediaThumbnail::Attributes::url)}), base);
        return found;
    };
    auto found = first(media.mediaThumbnails);
    const auto look = [&](const std::optional<std::vector<std::shared_ptr<MediaContent>>>& contents) {
        for (std::size_t k = 0; contents && k < contents->size() && !found; ++k)
            found = first((*contents)[k]->mediaThumbnails);
    };
    look(media.mediaContents);
    if (!found && media.mediaGroup) {
        found = first(media.mediaGroup->mediaThumbnails);
        look(media.mediaGroup->mediaContents);
    }
    return found;
}

Source titleIn(const std::shared_ptr<MediaNamespace>& media)
{
    if (!media)
        return nullptr;
    const auto own = in(media->mediaTitle, &MediaTitle::value);
    return firstSaid({own}) || !media->mediaGroup ? own : in(media->mediaGroup->mediaTitle, &MediaTitle::value);
}

std::optional<EntryText> descriptionOf(const std::shared_ptr<MediaNamespace>& media)
{
    const auto read = [](const std::shared_ptr<MediaDescription>& said) -> std::optional<EntryText> {
        // "plain" unless it says "html".
        const auto type = attributeOf(said, &MediaDescription::Attributes::type);
        const bool isHTML = type && *type && sameIgnoringCase(**type, "html");
        return textOf(firstSaid({in(said, &MediaDescription::value)}), isHTML ? TextForm::html : TextForm::plain);
    };
    auto found = media ? read(media->mediaDescription) : std::nullopt;
    return found || !media || !media->mediaGroup ? found : read(media->mediaGroup->mediaDescription);
}

std::optional<std::string> shownImageOf(const Entry& entry, Base* ofText, Base& base)
{
    const auto isPixel = [](const std::optional<std::string>& size) { return size == "0" || size == "1"; };
    Base ofPage = entry.link ? Base(URL(*entry.link)) : base;
    for (const auto* text : {&entry.content, &entry.summary}) {
        if (!*text || !(*text)->markup)
            continue;
        TagScanner scanner(*(*text)->markup);
        while (const auto piece = scanner.next()) {
            if (piece->kind != HTMLPiece::Kind::startTag || !piece->isTag("img") || isPixel(piece->attribute("width"))
                || isPixel(piece->attribute("height")))
                continue;
            const auto source = piece->attribute("src");
            if (!firstSaid({&source}))
                continue;
            const URL address{std::string(trimmed(*source))};
            // One that is written out in the text is none to fetch.
            if (!sameIgnoringCase(address.scheme(), "data"))
                return addressOf(&*source, ofText ? *ofText : ofPage);
        }
    }
    return std::nullopt;
}

} // namespace FeedKit::gathering
