#include "FeedKit/xml/MoreReader.h"

#include "FeedKit/fetch/URL.h"

#include <algorithm>
#include <array>

namespace FeedKit {

namespace {

constexpr std::string_view kXHTML = "http://www.w3.org/1999/xhtml";
// Nothing that means something lies deeper, and trees are walked by functions that call themselves.
constexpr std::size_t kMostLevels = 100;
constexpr std::size_t kMostScopes = 256;
constexpr std::size_t kLongestBase = 8192;

bool isVoid(std::string_view tag)
{
    constexpr std::array<std::string_view, 13> kVoid{
        "area", "base", "br", "col", "embed", "hr", "img", "input", "link", "meta", "source", "track", "wbr"};
    return std::find(kVoid.begin(), kVoid.end(), tag) != kVoid.end();
}

bool isDeclaration(std::string_view attribute)
{
    return attribute == "xmlns" || attribute.starts_with("xmlns:");
}

bool isBlank(std::string_view text)
{
    return text.find_first_not_of(" \t\n\r") == text.npos;
}

std::optional<std::string> orAbsent(std::string_view text)
{
    return text.empty() ? std::nullopt : std::optional(std::string(text));
}

} // namespace

void MoreReader::openScope(const ElementAttributes& attributes)
{
    std::string_view base, language;
    bool saysLanguage = false, saysBase = false;
    attributes.forEach([&](std::string_view name, std::string_view value) {
        if (name == "xml:base" && value.size() <= kLongestBase) {
            base = value;
            saysBase = true;
        } else if (name == "xml:lang" && value.size() <= kLongestBase) {
            language = value;
            saysLanguage = true;
        }
    });
    if ((!saysBase && !saysLanguage) || scopes_.size() == kMostScopes)
        return;
    Scope inner = scope();
    inner.depth = depth_;
    inner.saysBase = saysBase;
    if (saysBase) {
        const auto whole = resolved(URL(inner.base), base);
        inner.base = whole ? whole->text() : std::string(base);
    }
    if (saysLanguage)
        inner.language = language;
    scopes_.push_back(std::move(inner));
}

const MoreReader::Scope& MoreReader::scopeAround() const
{
    return scopes_.size() > 1 && scopes_.back().depth == depth_ ? scopes_[scopes_.size() - 2] : scopes_.back();
}

bool MoreReader::start(std::string_view name, const ElementAttributes& attributes)
{
    ++depth_;
    namespaces_.open(attributes);
    openScope(attributes);
    if (!isCapturing())
        return false;
    ++captured_;
    if (capture_ == Capture::extension)
        openExtension(name, attributes);
    else
        writeStart(name, attributes);
    return true;
}

MoreReader::End MoreReader::end()
{
    auto what = End::nothing;
    if (isCapturing()) {
        const bool isOver = captured_ == (capture_ == Capture::extension ? 1 : 0);
        what = !isOver ? End::inside : capture_ == Capture::extension ? End::extension : End::markup;
        if (capture_ == Capture::extension)
            closeExtension();
        else if (!isOver)
            writeEnd();
        captured_ -= captured_ != 0;
        if (isOver)
            capture_ = Capture::none;
    }
    if (scopes_.size() > 1 && scopes_.back().depth == depth_)
        scopes_.pop_back();
    namespaces_.close();
    --depth_;
    return what;
}

void MoreReader::text(std::string_view text)
{
    if (capture_ == Capture::markup) {
        // What stands around the div is only there for the eye.
        const auto had = markup_.size();
        if (!tags_.empty() || !isBlank(text))
            escape(text);
        growth_ += markup_.size() - had;
    } else if (captured_ <= kMostLevels && !open_.empty()) {
        auto& to = open_.back().text;
        if (!to)
            to.emplace();
        to->append(text);
        growth_ += text.size();
    }
}

// --- extensions

void MoreReader::captureExtension(std::string_view name, const ElementAttributes& attributes)
{
    capture_ = Capture::extension;
    captured_ = 1;
    openExtension(name, attributes);
}

void MoreReader::openExtension(std::string_view name, const ElementAttributes& attributes)
{
    if (captured_ > kMostLevels)
        return;
    const QualifiedName parts(name);
    auto& element = open_.emplace_back();
    element.name.emplace(parts.local);
    element.namespaceURI = orAbsent(namespaces_.uriOf(parts.prefix));
    growth_ += sizeof element + name.size() + namespaces_.uriOf(parts.prefix).size();
    attributes.forEach([&](std::string_view key, std::string_view value) {
        if (isDeclaration(key))
            return;
        if (!element.attributes)
            element.attributes.emplace();
        element.attributes->push_back({std::string(key), std::string(value)});
        growth_ += sizeof(ExtensionAttribute) + key.size() + value.size();
    });
}

void MoreReader::closeExtension()
{
    if (captured_ > kMostLevels || open_.size() < 2)
        return;
    auto child = std::move(open_.back());
    open_.pop_back();
    // White space between children is only there for the eye.
    if (child.children && child.text && isBlank(*child.text))
        child.text.reset();
    auto& children = open_.back().children;
    if (!children)
        children.emplace();
    children->push_back(std::move(child));
}

ExtensionElement MoreReader::takeExtension()
{
    auto element = std::move(open_.back());
    open_.clear();
    if (element.children && element.text && isBlank(*element.text))
        element.text.reset();
    return element;
}

// --- markup

void MoreReader::captureMarkup()
{
    capture_ = Capture::markup;
    captured_ = 0;
    markup_.clear();
    tags_.clear();
}

void MoreReader::writeStart(std::string_view name, const ElementAttributes& attributes)
{
    const QualifiedName parts(name);
    const bool isXHTML = namespaces_.uriOf(parts.prefix) == kXHTML;
    // The div around it isn't part of it (RFC 4287, section 3.1.1.3).
    if (tags_.empty() && markup_.empty() && parts.local == "div") {
        tags_.emplace_back();
        return;
    }
    const auto tag = isXHTML ? parts.local : name;
    const auto had = markup_.size();
    tags_.emplace_back(tag);
    markup_ += '<';
    markup_ += tag;
    attributes.forEach([&](std::string_view key, std::string_view value) {
        if (isDeclaration(key) || key == "xml:base" || key == "xml:space")
            return;
        markup_ += ' ';
        markup_ += key == "xml:lang" ? std::string_view("lang") : key;
        markup_ += "=\"";
        escape(value);
        markup_ += '"';
    });
    markup_ += '>';
    growth_ += markup_.size() - had + tag.size();
}

void MoreReader::writeEnd()
{
    if (const auto& tag = tags_.back(); !tag.empty() && !isVoid(tag))
        ((markup_ += "</") += tag) += '>';
    tags_.pop_back();
}

void MoreReader::escape(std::string_view text)
{
    for (const char c : text) {
        switch (c) {
        case '&':
            markup_ += "&amp;";
            break;
        case '<':
            markup_ += "&lt;";
            break;
        case '>':
            markup_ += "&gt;";
            break;
        case '"':
            markup_ += "&quot;";
            break;
        default:
            markup_ += c;
        }
    }
}

} // namespace FeedKit
