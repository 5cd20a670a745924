#include "platform/quartzcomposer/reference/Schema.h"

#include "platform/quartzcomposer/file/TextOptions.h"

#include <algorithm>
#include <map>
#include <set>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;

Json reference(const std::string& definition)
{
    return {{"$ref", "#/definitions/" + definition}};
}

// For patterns that both JavaScript and others read.
std::string escaped(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (std::string_view("\\^$.|?*+()[]{}/-").find(c) != std::string_view::npos)
            out += '\\';
        out += c;
    }
    return out;
}

// Of a key with a "*".
std::string keyPattern(const std::string& key)
{
    const auto star = key.find('*');
    return "^" + escaped(key.substr(0, star)) + ".*" + escaped(key.substr(star + 1)) + "$";
}

std::string inBrackets(const std::string& text)
{
    return text.empty() ? text : " (" + text + ")";
}

std::string separated(const std::string& a, const std::string& b)
{
    return a.empty() || b.empty() ? a + b : a + "; " + b;
}

// Values of the text form, each under the name that the ports' types and the settings' kinds have.
void addValues(Json& definitions)
{
    const Json reals{{"type", "object"}, {"required", {"real"}}, {"maxProperties", 1},
        {"properties", {{"real", {{"enum", {"nan", "inf", "-inf"}}}}}}};
    const Json lines{{"type", "object"}, {"required", {"lines"}}, {"maxProperties", 1},
        {"properties", {{"lines", {{"type", "array"}, {"items", {{"type", "string"}}}}}}}};
    const Json quoted{{"type", "object"}, {"required", {"text"}}, {"maxProperties", 1},
        {"properties", {{"text", {{"type", "string"}}}}}};
    const auto file = [](const char* key, const char* what) {
        return Json{{"type", "object"}, {"required", {key}}, {"maxProperties", 1},
            {"properties", {{key, {{"type", "string"}, {"description", what}}}}}};
    };
    const Json part{{"anyOf", {{{"type", {"number", "boolean"}}}, reals}}};
    const Json color{{"type", "object"}, {"required", {"red", "green", "blue"}},
        {"properties", {{"red", part}, {"green", part}, {"blue", part}}}};

    definitions["boolean"] = {{"enum", {false, true, 0, 1}}};
    definitions["index"]
        = {{"anyOf", {{{"type", "integer"}, {"minimum", 0}, {"maximum", 4294967295u}}, {{"type", "boolean"}}}}};
    definitions["number"] = part;
    definitions["string"] = {{"anyOf", {{{"type", {"string", "number"}}}, lines, quoted}}};
    definitions["text"] = {{"anyOf", {{{"type", "string"}}, lines, quoted}}};
    definitions["lines"] = {{"anyOf", {lines, quoted}}};
    definitions["color"] = {{"anyOf",
        {{{"type", "string"}, {"pattern", "^#([0-9a-fA-F]{6}|[0-9a-fA-F]{8})$"}, {"default", "#ffffffff"}}, color}}};
    definitions["image"] = {{"anyOf",
        {file("image", "A picture beside the text, or beneath its folder"), file("data", "The bytes of one, base64")}}};
    definitions["structure"] = {{"type", {"array", "object"}}};
    definitions["virtual"] = {{"not", {{"type", "null"}}}};
    definitions["mesh"] = {{"not", Json::object()}};
    definitions["interaction"] = {{"not", Json::object()}};
    definitions["list"] = {{"type", "array"}};
    definitions["table"] = {{"type", "object"}};
    definitions["reference"] = {{"description", "A port of a patch inside: \"patch.port\""},
        {"anyOf",
            {{{"type", "string"}, {"pattern", "\\."}},
                {{"type", "array"}, {"items", {{"type", "string"}}}, {"minItems", 2}, {"maxItems", 2}}}}};
    definitions["connection"] = {{"description", "\"patch.port > patch.port\", from an output to an input"},
        {"anyOf",
            {{{"type", "string"}, {"pattern", "\\.[\\s\\S]* > [\\s\\S]*\\."}},
                {{"type", "array"}, {"items", {{"type", "string"}}}, {"minItems", 4}, {"maxItems", 4}}}}};
}

Json portJson(const ReferencePort& port, bool isMacro)
{
    const Json type = reference(nameOf(port.type));
    Json json{{"description",
        port.words.meaning
            + inBrackets(separated(typeInWords(port.type),
                separated(measureInWords(port.words.measure),
                    port.usual.is_null() ? std::string() : "usually " + usualInWords(port.usual))))}};
    if (!port.usual.is_null())
        json["default"] = port.usual;
    if (isMacro)
        json["anyOf"] = Json::array({type, reference("reference")});
    else
        json["allOf"] = Json::array({type});
    return json;
}

Json inputsJson(const ReferencePatch& patch)
{
    Json properties = Json::object(), patterns = Json::object();
    Json others = patch.isMacro ? reference("reference") : Json(false);
    for (const ReferencePort& port : patch.inputs) {
        const std::string& key = port.words.key;
        if (key == "*")
            others = portJson(port, patch.isMacro);
        else if (key.find('*') != std::string::npos)
            patterns[keyPattern(key)] = portJson(port, patch.isMacro);
        else
            properties[key] = portJson(port, patch.isMacro);
    }
    ReferencePort enable{{"_enable", "Whether it draws"}, PortType::Boolean, true},
        time{{"_time", "Its time, with the time base external", kSeconds}, PortType::Number, nullptr};
    if (patch.canRest)
        properties["_enable"] = portJson(enable, patch.isMacro);
    properties["_time"] = portJson(time, patch.isMacro);
    Json json{{"properties", properties}};
    if (!patterns.empty())
        json["patternProperties"] = patterns;
    json["additionalProperties"] = others;
    return json;
}

Json settingJson(const DescribedSetting& setting)
{
    static const std::map<DescribedSetting::Kind, const char*> kinds{{DescribedSetting::Number, "number"},
        {DescribedSetting::Flag, "boolean"}, {DescribedSetting::Text, "text"}, {DescribedSetting::List, "list"},
        {DescribedSetting::Table, "table"}, {DescribedSetting::Any, "virtual"}};
    Json json{{"description",
        setting.meaning + inBrackets(separated(kindInWords(setting.kind), measureInWords(setting.measure)))}};
    if (!setting.words.empty())
        json["anyOf"] = Json::array({{{"enum", setting.words}}, reference("lines")});
    else
        json["allOf"] = Json::array({reference(kinds.at(setting.kind))});
    if (*setting.example)
        json["examples"] = Json::array({Json::parse(setting.example, nullptr, false)});
    return json;
}

Json settingsJson(const ReferencePatch& patch)
{
    Json properties = Json::object(), patterns = Json::object();
    for (const DescribedSetting& setting : patch.settings) {
        if (setting.key.find('*') != std::string::npos)
            patterns[keyPattern(setting.key)] = settingJson(setting);
        else
            properties[setting.key] = settingJson(setting);
    }
    properties["timebase"] = settingJson({"timebase", DescribedSetting::Text,
        "Which time it has: its parent's, one of its own that begins anew whenever it is used anew, or that of an "
        "input "
        "_time",
        {}, {"parent", "local", "external"}});
    Json json{{"properties", properties}};
    if (!patterns.empty())
        json["patternProperties"] = patterns;
    json["additionalProperties"] = false;
    return json;
}

Json patchJson(const ReferencePatch& patch)
{
    return {{"title", patch.title}, {"description", patch.sentence},
        {"properties", {{"inputs", inputsJson(patch)}, {"settings", settingsJson(patch)}}}};
}

Json classIs(const std::string& pattern)
{
    return {{"properties", {{"class", {{"pattern", pattern}}}}}, {"required", {"class"}}};
}

Json when(const Json& condition, const Json& then)
{
    return {{"if", condition}, {"then", then}};
}

// A kind is named with its class, or beside it.
Json kindIs(const std::string& className, const std::string& kind)
{
    const Json beside{{"properties", {{"class", {{"const", className}}}, {"identifier", {{"const", kind}}}}},
        {"required", {"class", "identifier"}}};
    return {{"anyOf", {classIs("^" + escaped(className + "/" + kind) + "$"), beside}}};
}

// Which of the classes' own schemas holds for a patch. A validator asks one after the other, so they come in groups.
class Dispatch
{
public:
    explicit Dispatch(const std::vector<ReferenceFamily>& families)
    {
        for (const ReferenceFamily& family : families) {
            for (const ReferencePatch& patch : family.patches) {
                names_.insert(patch.name);
                classes_.insert(patch.name.substr(0, patch.name.find('/')));
            }
        }
    }

    Json schema() const
    {
        std::map<std::string, Json> groups, filters;
        for (const std::string& name : names_) {
            const auto slash = name.find('/');
            const std::string className = name.substr(0, slash);
            if (isOfKinds(className))
                append(
                    filters, "CI", name.substr(slash + 1), when(kindIs(className, name.substr(slash + 1)), own(name)));
            else
                append(groups, className.starts_with("QC") ? "QC" : "", className, when(condition(name), own(name)));
        }
        Json all = Json::array();
        for (const auto& [prefix, group] : groups)
            all.push_back(when(classIs("^" + prefix), {{"allOf", group}}));
        Json kinds = Json::array();
        for (const auto& [prefix, group] : filters)
            kinds.push_back(when({{"anyOf",
                                     {classIs("/" + prefix),
                                         {{"properties", {{"identifier", {{"pattern", "^" + prefix}}}}},
                                             {"required", {"identifier"}}}}}},
                {{"allOf", group}}));
        for (const std::string& className : classes_) {
            if (isOfKinds(className))
                all.push_back(when(classIs("^" + className + "(/|$)"), {{"allOf", kinds}}));
        }
        return {{"allOf", all}};
    }

    // Of all class names that a patch may have.
    std::string pattern() const
    {
        std::string plain, kinds;
        for (const std::string& className : classes_)
            plain += (plain.empty() ? "" : "|") + className;
        for (const std::string& name : names_) {
            if (isOfKinds(name.substr(0, name.find('/'))))
                kinds += (kinds.empty() ? "" : "|") + name.substr(name.find('/') + 1);
        }
        std::string withKinds;
        for (const std::string& className : classes_)
            if (isOfKinds(className))
                withKinds += className;
        return "^(/[\\s\\S]*|" + withKinds + "(/(" + kinds + "))?|(?!" + withKinds + "(/|$))(" + plain
            + ")(/[\\s\\S]*)?)$";
    }

    static Json own(const std::string& name)
    {
        std::string key = name;
        std::replace(key.begin(), key.end(), '/', '.');
        return reference(key);
    }

private:
    // Whose every kind has words of its own: it has none itself.
    bool isOfKinds(const std::string& className) const { return names_.count(className) == 0; }

    static void append(
        std::map<std::string, Json>& groups, const std::string& prefix, const std::string& name, Json json)
    {
        Json& group = groups[name.substr(0, prefix.size() + 1)];
        if (group.is_null())
            group = Json::array();
        group.push_back(std::move(json));
    }

    Json condition(const std::string& name) const
    {
        const auto slash = name.find('/');
        if (slash != std::string::npos)
            return kindIs(name.substr(0, slash), name.substr(slash + 1));
        Json condition = classIs("^" + name + "(/|$)");
        Json others = Json::array();
        for (const std::string& other : names_) {
            if (other.starts_with(name + "/"))
                others.push_back(kindIs(name, other.substr(name.size() + 1)));
        }
        if (!others.empty())
            condition["not"] = {{"anyOf", others}};
        return condition;
    }

    std::set<std::string> names_, classes_;
};

// What an editor offers for "class".
Json choices(const std::vector<ReferenceFamily>& families)
{
    Json all = Json::array({{{"type", "string"}}}); // first, so that a validator is done with it
    for (const ReferenceFamily& family : families) {
        for (const ReferencePatch& patch : family.patches)
            all.push_back(
                {{"const", patch.name}, {"title", patch.title}, {"description", patch.title + ". " + patch.sentence}});
    }
    return all;
}

Json closed(Json properties)
{
    return {{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
}

// What people read of a published input.
Json optionJson()
{
    Json properties = Json::object();
    for (const OptionMember& one : optionMembers()) {
        Json& property = properties[one.key];
        property["type"] = one.kind == OptionMember::Text ? "string"
            : one.kind == OptionMember::Number            ? "number"
                                                          : "array";
        property["description"] = one.words;
        if (one.kind == OptionMember::Texts)
            property["items"] = {{"type", "string"}};
    }
    return closed(std::move(properties));
}

// Whose patches are of one definition.
Json members(bool isOutermost, const char* patches)
{
    const Json references{{"type", "object"}, {"additionalProperties", reference("reference")}};
    Json json = {{"class", {{"description", "What kind of patch it is"}, {"allOf", {reference("className")}}}},
        {"identifier", {{"type", "string"}, {"description", "Which of several patches of a class"}}},
        {"inputs",
            {{"type", "object"},
                {"description",
                    "Values of ports; of one that holds patches also KEY: \"patch.port\", which publishes one"}}},
        {"outputs", references}, {"values", {{"type", "object"}, {"description", "Values of the published inputs"}}},
        {"settings", {{"type", "object"}, {"description", "What isn't a port"}}},
        {"patches",
            {{"type", "object"}, {"description", "The patches inside, first drawn first"},
                {"additionalProperties", reference(patches)}}},
        {"connections",
            {{"type", "array"}, {"description", "\"patch.port > patch.port\", each from an output to an input"},
                {"items", reference("connection")}}},
        {"raw", {{"type", "object"}, {"description", "What a file holds beyond this form"}}}};
    json["outputs"]["description"] = "KEY: \"patch.port\", published outputs";
    if (isOutermost)
        json["options"]
            = {{"type", "object"}, {"description", "What people read of the published inputs, and may choose there"},
                {"additionalProperties", reference("option")}};
    if (isOutermost)
        json["$schema"] = {{"type", "string"}, {"description", "Where an editor finds this schema"}};
    return json;
}

} // namespace

Json textFormSchema(const std::vector<ReferenceFamily>& families)
{
    const Dispatch dispatch(families);
    // A file's, or one whose identifier is where this schema doesn't look for it.
    const Json isOdd{{"anyOf",
        {{{"required", {"raw"}}},
            {{"required", {"settings"}},
                {"properties", {{"settings", {{"type", "object"}, {"required", {"identifier"}}}}}}}}}};

    Json definitions = Json::object();
    definitions["className"] = {{"type", "string"}, {"anyOf", choices(families)}};
    definitions["written"]
        = {{"properties",
               {{"class", {{"pattern", dispatch.pattern()}, {"patternErrorMessage", "There is no such class"}}}}},
            {"allOf", dispatch.schema()["allOf"]}};
    Json patch = closed(members(false, "patch"));
    patch["required"] = {"class"};
    patch["if"] = isOdd;
    patch["else"] = reference("written");
    definitions["patch"] = patch;

    definitions["foreign"] = closed(members(true, "foreign"));

    Json composition = closed(members(true, "patch"));
    composition["if"] = {{"anyOf", {isOdd, {{"required", {"class"}}}}}};
    composition["then"] = {{"if", isOdd}, {"else", reference("written")}};
    composition["else"] = Dispatch::own("QCPatch");
    definitions["definition"] = composition;
    addValues(definitions);
    definitions["option"] = optionJson();
    for (const ReferenceFamily& family : families) {
        for (const ReferencePatch& one : family.patches) {
            std::string key = one.name;
            std::replace(key.begin(), key.end(), '/', '.');
            definitions[key] = patchJson(one);
        }
    }

    Json json{{"$schema", "http://json-schema.org/draft-07/schema#"}, {"title", "Composition"},
        {"description", "The text form of compositions that Vitrel plays"}};
    json.update(composition);
    json["properties"]["virtualPatches"]
        = {{"type", "object"}, {"description", "Definitions to be used as classes, by a name that begins with \"/\""},
            {"patternProperties", {{"^/", {{"type", "object"}}}}}, {"additionalProperties", false}};
    json["required"] = {"patches"};
    // Definitions that a file brings with it are as they are, throughout.
    const auto definedAs = [](const char* definition) {
        const Json isElsewhere{{"type", "object"}, {"required", {"file"}}, {"maxProperties", 1},
            {"properties", {{"file", {{"type", "string"}, {"description", "A text beside this one or beneath"}}}}}};
        const Json one{{"anyOf", {isElsewhere, reference(definition)}}};
        return Json{{"properties", {{"virtualPatches", {{"patternProperties", {{"^/", one}}}}}}}};
    };
    json["allOf"] = Json::array(
        {{{"if", {{"required", {"raw"}}}}, {"then", definedAs("foreign")}, {"else", definedAs("definition")}}});
    json["definitions"] = std::move(definitions);
    return json;
}

} // namespace vitrel::qc
