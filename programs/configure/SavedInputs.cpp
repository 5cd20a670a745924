#include "programs/configure/SavedInputs.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/PropertyList.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

const char* extensionOf(const Bytes& picture)
{
    const std::string_view head = textOf(picture).substr(0, 12);
    return head.starts_with("\x89PNG") ? "png"
        : head.starts_with("GIF8")     ? "gif"
        : head.starts_with("RIFF")     ? "webp"
        : head.starts_with("\xFF\xD8") ? "jpg"
                                       : "tif";
}

// A dropped picture becomes a file beside the text.
std::string placePicture(const std::string& target, const std::string& key, Json& value)
{
    const auto data = value.is_object() ? value.find("data") : value.end();
    const auto bytes = value.is_object() && data != value.end() && data->is_string()
        ? decodeBase64(data->get<std::string>())
        : std::nullopt;
    if (!bytes)
        return "";
    std::string name = key;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '/' || c == '.' || c == '\0'; }, '_');
    name += std::string(".") + extensionOf(*bytes);
    if (writeFile(qc::folderOf(target) + name, *bytes) != 0)
        return "can't write " + qc::folderOf(target) + name;
    value = Json{{"image", name}};
    return "";
}

std::string write(const std::string& target, ByteView bytes)
{
    return writeFile(target, bytes) == 0 ? "" : "can't write " + target;
}

std::string saveText(std::string text, const std::string& target, std::map<std::string, Json> values)
{
    std::map<std::string, std::string> texts;
    for (auto& [key, value] : values) {
        if (auto problem = placePicture(target, key, value); !problem.empty())
            return problem;
        texts[key] = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
    const auto edited = qc::textWithValues(text, texts);
    if (!edited)
        return "the text can't be changed";
    if (const auto made = qc::compositionFromText(*edited, qc::folderOf(target)); !made)
        return made.error().reason;
    return write(target, bytesOf(*edited));
}

std::string saveComposition(Value list, const std::string& target, const std::map<std::string, Json>& values)
{
    if (!list.dictionary())
        return "it is no composition";
    Dictionary top = *list.dictionary();
    const Dictionary* given = dictionaryMember(top, "inputParameters");
    Dictionary parameters = given ? *given : Dictionary();
    for (const auto& [key, value] : values)
        parameters.insert_or_assign(key, qc::ValueReader(qc::folderOf(target)).value(value));
    top.insert_or_assign("inputParameters", parameters);
    const Bytes bytes = binaryPropertyList(Value(top));
    return bytes.empty() ? "it makes no composition" : write(target, bytes);
}

} // namespace

std::string saveWithValues(
    const std::string& source, const std::string& target, const std::map<std::string, Json>& values)
{
    constexpr std::size_t kLargest = 64u << 20;
    const auto bytes = readFile(source, kLargest);
    if (!bytes)
        return "can't read " + source;
    const std::string text(textOf(*bytes));
    const bool isText = qc::isTextForm(text), becomesText = asciiLowercase(target).ends_with(".json");
    if (becomesText) {
        const auto file = isText ? qc::CompositionError{} : qc::readComposition(*bytes);
        return isText ? saveText(text, target, values)
            : file    ? saveText(qc::textForm(*file), target, values)
                      : file.error().reason;
    }
    if (!isText) {
        const auto list = propertyListWithData(*bytes);
        return list ? saveComposition(*list, target, values) : "it is no composition";
    }
    const auto made = qc::compositionFromText(text, qc::folderOf(source));
    return made ? saveComposition(*made, target, values) : made.error().reason;
}

} // namespace vitrel
