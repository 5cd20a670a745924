#include "platform/quartzcomposer/loading/XMLStructure.h"

#include "base/Text.h"

#include <expat.h>

#include <memory>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxElements = 1'000'000, kMaxDepth = 64;

class Reader
{
public:
    StructureRef read(ByteView document)
    {
        const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr), XML_ParserFree);
        if (!parser || document.size() > std::size_t(INT_MAX))
            return nullptr;
        parser_ = parser.get();
        XML_SetUserData(parser_, this);
        // No DTD, and so no entities but the five that every document has.
        XML_SetStartDoctypeDeclHandler(
            parser_, [](void* self, const char*, const char*, const char*, int) { of(self).stop(); });
        XML_SetElementHandler(
            parser_, [](void* self, const char* name, const char** attributes) { of(self).begin(name, attributes); },
            [](void* self, const char*) { of(self).end(); });
        XML_SetCharacterDataHandler(parser_, [](void* self, const char* text, int size) {
            if (!of(self).open_.empty())
                of(self).open_.back().text.append(text, static_cast<std::size_t>(size));
        });
        const auto* bytes = reinterpret_cast<const char*>(document.data());
        const bool isWhole = XML_Parse(parser_, bytes, static_cast<int>(document.size()), true) == XML_STATUS_OK;
        return isWhole ? root_ : nullptr;
    }

private:
    struct Element {
        std::string name, text;
        std::shared_ptr<Structure> members;
        std::size_t attributes = 0;
    };
    static Reader& of(void* self) { return *static_cast<Reader*>(self); }

    void stop() { XML_StopParser(parser_, false); }
    void begin(const char* name, const char** attributes)
    {
        if (open_.size() >= kMaxDepth || ++count_ > kMaxElements) {
            stop();
            return;
        }
        Element element{name, {}, std::make_shared<Structure>()};
        element.members->keyed = true;
        for (; *attributes; attributes += 2) {
            if (++count_ > kMaxElements)
                break;
            element.members->members.push_back({attributes[0], PortValue(std::string(attributes[1]))});
            ++element.attributes;
        }
        open_.push_back(std::move(element));
    }
    void end()
    {
        if (open_.empty())
            return;
        Element element = std::move(open_.back());
        open_.pop_back();
        if (open_.empty()) {
            root_ = element.members;
            return;
        }
        const std::string text(trimmed(element.text));
        const bool hasElements = element.members->members.size() > element.attributes;
        const bool isText = !hasElements && (element.attributes == 0 || !text.empty());
        open_.back().members->members.push_back(
            {element.name, isText ? PortValue(text) : PortValue(StructureRef(element.members))});
    }

    XML_Parser parser_ = nullptr;
    std::vector<Element> open_;
    StructureRef root_;
    std::size_t count_ = 0;
};

} // namespace

StructureRef structureOfXML(ByteView document)
{
    return Reader().read(document);
}

} // namespace vitrel::qc
