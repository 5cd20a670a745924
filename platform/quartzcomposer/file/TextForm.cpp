#include "platform/quartzcomposer/file/TextForm.h"

#include "platform/foundation/Files.h"

#include "base/Text.h"
#include "platform/quartzcomposer/file/TextOptions.h"
#include "platform/quartzcomposer/file/TextTree.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <set>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;

// What a composition that was made of a text says that it is for.
constexpr const char* kFrameworkVersion = "332";

constexpr const char* kPortKinds[] = {"ivarInputPortStates", "customInputPortStates", "systemInputPortStates"};

const Dictionary& dictionaryAt(const Dictionary& dictionary, std::string_view key)
{
    static const Dictionary none;
    const Dictionary* found = dictionaryMember(dictionary, key);
    return found ? *found : none;
}

bool oneOf(std::string_view key, std::initializer_list<std::string_view> keys)
{
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

// "patch.port"; an array of the two where the patch's name has a dot of its own.
Json portJson(const std::string& node, const std::string& port)
{
    if (node.find('.') != std::string::npos)
        return Json::array({jsonText(node), jsonText(port)});
    return jsonText(node + "." + port);
}

Json connectionJson(const FileConnection& c)
{
    const std::string from = c.sourceNode + "." + c.sourcePort, to = c.destinationNode + "." + c.destinationPort;
    const auto odd = [](const std::string& text) { return text.find(" > ") != std::string::npos; };
    if (c.sourceNode.find('.') != std::string::npos || c.destinationNode.find('.') != std::string::npos || odd(from)
        || odd(to))
        return Json::array(
            {jsonText(c.sourceNode), jsonText(c.sourcePort), jsonText(c.destinationNode), jsonText(c.destinationPort)});
    return jsonText(from + " > " + to);
}

void put(Json& json, const char* key, Json value)
{
    if (!value.is_null() && !value.empty())
        json[key] = std::move(value);
}

// `isForeign`: of a file that another program may have written.
Json nodeJson(const FileNode& node, bool isRoot, bool isForeign, TextBudget& budget);

Json publishedJson(const std::vector<FilePublishedPort>& ports)
{
    Json json = Json::object();
    std::set<std::string> keys;
    for (const FilePublishedPort& port : ports) {
        if (keys.insert(jsonText(port.key)).second)
            append(json, jsonText(port.key), portJson(port.node, port.port));
    }
    return json;
}

// What the form has no place for: labels, editor data, which dictionary a value stood in.
Json rawJson(const FileNode& node, TextBudget& budget)
{
    Json raw = Json::object(), state = Json::object(), ports = Json::object(), published = Json::object();
    for (const auto& [key, value] : *node.state) {
        if (oneOf(key, {"userInfo", "customOutputPortStates"}))
            append(state, jsonText(key), valueJson(value, budget));
    }
    for (const char* kind : kPortKinds) {
        for (const auto& [key, port] : dictionaryAt(*node.state, kind)) {
            Json rest = Json::object();
            if (!port.dictionary())
                continue;
            for (const auto& [part, value] : *port.dictionary()) {
                if (part != "value")
                    append(rest, jsonText(part), valueJson(value, budget));
            }
            const bool usual = kind == kPortKinds[key.starts_with('_') ? 2 : 0];
            if (!usual || !rest.empty() || port.dictionary()->empty())
                append(ports[kind], jsonText(key), std::move(rest));
        }
    }
    for (const char* list : {"publishedInputPorts", "publishedOutputPorts"}) {
        const Value* entries = vitrel::member(*node.state, list);
        for (std::size_t k = 0; entries && entries->array() && k < entries->array()->size(); ++k) {
            const Dictionary* entry = (*entries->array())[k].dictionary();
            const Value* info = entry ? vitrel::member(dictionaryAt(*entry, "state"), "userInfo") : nullptr;
            const Value* key = entry ? vitrel::member(*entry, "key") : nullptr;
            if (info && key)
                append(published[list], jsonText(description(*key)), valueJson(*info, budget));
        }
    }
    put(raw, "state", state);
    put(raw, "ports", ports);
    put(raw, "published", published);
    return raw;
}

Json nodeJson(const FileNode& node, bool isRoot, bool isForeign, TextBudget& budget)
{
    Json json = Json::object();
    if (!isRoot || node.className != "QCPatch")
        json["class"] = jsonText(node.className);
    if (!node.identifier.empty())
        json["identifier"] = jsonText(node.identifier);
    Json inputs = publishedJson(node.publishedInputs);
    Json stored = Json::object(); // at a macro, under the name of a published input
    std::set<std::string> published;
    for (const FilePublishedPort& port : node.publishedInputs)
        published.insert(jsonText(port.key));
    for (const auto& [key, value] : node.portValues)
        append(published.count(jsonText(key)) ? stored : inputs, jsonText(key), valueJson(value, budget));
    put(json, "inputs", std::move(inputs));
    put(json, "outputs", publishedJson(node.publishedOutputs));
    Json values = Json::object();
    for (const FilePublishedPort& port : node.publishedInputs) {
        if (!port.value.isNothing() && published.erase(jsonText(port.key)))
            append(values, jsonText(port.key), valueJson(port.value, budget));
    }
    if (!isRoot)
        put(json, "values", std::move(values));
    if (!node.state)
        return json;
    Json settings = Json::object();
    for (const auto& [key, value] : *node.state) {
        if (!oneOf(key,
                {"nodes", "connections", "publishedInputPorts", "publishedOutputPorts", "ivarInputPortStates",
                    "customInputPortStates", "systemInputPortStates", "userInfo", "customOutputPortStates"}))
            append(settings, jsonText(key), valueJson(value, budget));
    }
    put(json, "settings", std::move(settings));
    Json patches = Json::object();
    std::set<std::string> keys; // connections lead to the first of a key
    for (const FileNode& child : node.nodes) {
        if (keys.insert(jsonText(child.key)).second)
            append(patches, jsonText(child.key), nodeJson(child, false, isForeign, budget));
    }
    if (vitrel::member(*node.state, "nodes"))
        json["patches"] = std::move(patches);
    Json connections = Json::array();
    for (const FileConnection& connection : node.connections)
        connections.push_back(connectionJson(connection));
    put(json, "connections", std::move(connections));
    Json raw = rawJson(node, budget);
    put(raw, "stored", std::move(stored));
    put(json, "raw", std::move(raw));
    // What it says may mean something to that program: no mistake of whoever goes on with the text.
    if (isForeign && !json.contains("raw"))
        json["raw"] = Json::object();
    return json;
}

Json compositionJson(
    const FileNode& root, const Dictionary& top, const std::map<std::string, FileNode>* definitions, TextBudget& budget)
{
    const auto* version = textMember(top, "frameworkVersion");
    const Dictionary& attributes = dictionaryAt(top, "portAttributes");
    Json otherAttributes = Json::object();
    Json options = optionsJson(attributes, otherAttributes, budget);
    const bool hasOptionsAlone = !attributes.empty() && otherAttributes.empty();
    const bool isForeign
        = (version && *version != kFrameworkVersion) || std::any_of(top.begin(), top.end(), [&](const auto& entry) {
              return !oneOf(entry.first, {"rootPatch", "inputParameters", "virtualPatches", "frameworkVersion"})
                  && !(hasOptionsAlone && entry.first == "portAttributes");
          });
    Json json = nodeJson(root, true, isForeign, budget);
    std::map<std::string, Json> values;
    for (const FilePublishedPort& port : root.publishedInputs) {
        if (!port.value.isNothing())
            values[jsonText(port.key)] = valueJson(port.value, budget);
    }
    for (const auto& [key, value] : dictionaryAt(top, "inputParameters"))
        values[jsonText(key)] = valueJson(value, budget);
    put(json, "values", Json(values));
    put(json, "options", std::move(options));
    Json rest = Json::object(), virtuals = Json::object();
    for (const auto& [key, value] : top) {
        if (key == "portAttributes" && !attributes.empty())
            put(rest, "portAttributes", Json(otherAttributes));
        else if (!oneOf(key, {"rootPatch", "inputParameters", "virtualPatches"}))
            append(rest, jsonText(key), valueJson(value, budget));
    }
    if (!rest.empty())
        json["raw"]["top"] = std::move(rest);
    for (const auto& [identifier, value] : dictionaryAt(top, "virtualPatches")) {
        const auto definition
            = definitions ? definitions->find(identifier) : std::map<std::string, FileNode>::const_iterator();
        if (definitions && definition != definitions->end() && value.dictionary())
            virtuals[jsonText(identifier)] = compositionJson(definition->second, *value.dictionary(), nullptr, budget);
    }
    put(json, "virtualPatches", std::move(virtuals));
    return json;
}

// The other way.
class Maker
{
public:
    explicit Maker(const std::string& folder)
        : folder_(folder)
        , values_(folder)
    { }

    std::optional<Dictionary> composition(const Json& json)
    {
        Dictionary top{{"frameworkVersion", kFrameworkVersion}};
        const Json& raw = member(member(json, "raw"), "top");
        for (const auto& [key, value] : raw.items())
            top.insert_or_assign(key, values_.value(value));
        if (!takeAttributes(top, member(json, "options")))
            return std::nullopt;
        Dictionary parameters = values_.dictionary(member(json, "values"));
        auto root = node(json, "", &parameters);
        if (!root)
            return std::nullopt;
        if (!parameters.empty())
            top.insert_or_assign("inputParameters", parameters);
        top.insert_or_assign("rootPatch", *root);
        Dictionary virtuals;
        for (const auto& [identifier, definition] : member(json, "virtualPatches").items()) {
            const std::string& file = fileOfDefinition(definition);
            auto made = file.empty() ? composition(definition) : compositionOf(file);
            if (!made)
                return std::nullopt;
            virtuals.insert_or_assign(identifier, *made);
        }
        if (!virtuals.empty())
            top.insert_or_assign("virtualPatches", virtuals);
        return top;
    }

    const std::string& problem() const { return problem_.empty() ? values_.problem() : problem_; }

private:
    static const std::string& fileOfDefinition(const Json& definition)
    {
        static const std::string none;
        const Json& file = member(definition, "file");
        return file.is_string() && definition.size() == 1 ? file.get_ref<const std::string&>() : none;
    }

    // What lies in another text can't name a third one: so nothing names itself.
    std::optional<Dictionary> compositionOf(const std::string& file)
    {
        const auto text = definitionText(folder_, file);
        if (!text) {
            fail("", text.error().reason);
            return std::nullopt;
        }
        return composition(Json::parse(*text, nullptr, false, true));
    }

    struct Made {
        Dictionary node, state;
        std::map<std::string, Value> ports; // stored values
        std::map<std::string, Json> shape; // the text form of raw
    };

    static const Json& member(const Json& json, const char* key)
    {
        static const Json none = Json::object();
        const auto found = json.is_object() ? json.find(key) : json.end();
        return json.is_object() && found != json.end() ? *found : none;
    }

    bool fail(const std::string& where, const std::string& what)
    {
        if (problem_.empty())
            problem_ = (where.empty() ? std::string("at the top") : "in " + where) + ": " + what;
        return false;
    }

    bool takeAttributes(Dictionary& top, const Json& options)
    {
        Dictionary attributes = dictionaryAt(top, "portAttributes");
        std::string problem;
        if (!takeOptions(attributes, options, problem))
            return fail("", problem);
        if (!attributes.empty())
            top.insert_or_assign("portAttributes", attributes);
        return true;
    }

    // A patch as a dictionary. For the root, `parameters` take the values of published inputs.
    std::optional<Dictionary> node(const Json& json, const std::string& path, Dictionary* parameters)
    {
        auto made = read(json, path, parameters);
        return made ? std::optional(finished(std::move(*made))) : std::nullopt;
    }

    std::optional<Made> read(const Json& json, const std::string& path, Dictionary* parameters)
    {
        constexpr int kMaxLevels = 64;
        if (std::count(path.begin(), path.end(), '/') > kMaxLevels) {
            fail(path.substr(0, 40) + "...", "patches nest more levels than can be played");
            return std::nullopt;
        }
        if (!json.is_object()) {
            fail(path, "a patch is an object");
            return std::nullopt;
        }
        Made made;
        std::string className
            = json.contains("class") && json["class"].is_string() ? json["class"].get<std::string>() : "";
        if (className.empty() && !parameters) {
            fail(path, "a patch needs a class");
            return std::nullopt;
        }
        std::string identifier = json.contains("identifier") && json["identifier"].is_string()
            ? json["identifier"].get<std::string>()
            : "";
        made.state = values_.dictionary(member(json, "settings"));
        if (identifier.empty() && made.state.count("identifier"))
            identifier = description(made.state["identifier"]);
        made.state.erase("identifier");
        // "QCImageFilter/CIGaussianBlur" names both at once, as inspect does.
        const auto slash = className.find('/', 1);
        if (identifier.empty() && slash != std::string::npos && className[0] != '/') {
            identifier = className.substr(slash + 1);
            className.resize(slash);
        }
        made.node["class"] = className.empty() ? std::string("QCPatch") : className;
        if (!identifier.empty())
            made.node["identifier"] = identifier;
        for (const auto& [key, value] : member(json, "raw").items())
            made.shape[key] = value;
        std::map<std::string, Made> children;
        std::vector<std::string> order;
        for (const auto& [name, child] : member(json, "patches").items()) {
            auto inner = read(child, path + "/" + name, nullptr);
            if (!inner)
                return std::nullopt;
            inner->node["key"] = name;
            order.push_back(name);
            children.emplace(name, std::move(*inner));
        }
        if (!readInputs(json, path, children, made, parameters) || !readOutputs(json, path, made)
            || !readConnections(json, path, made))
            return std::nullopt;
        if (json.contains("patches")) {
            Array nodes;
            for (const std::string& name : order)
                nodes.push_back(finished(std::move(children.at(name))));
            made.state["nodes"] = nodes;
        }
        return made;
    }

    static std::optional<std::pair<std::string, std::string>> portOf(const Json& json)
    {
        if (json.is_array() && json.size() == 2 && json[0].is_string() && json[1].is_string())
            return std::pair(json[0].get<std::string>(), json[1].get<std::string>());
        if (!json.is_string())
            return std::nullopt;
        const std::string text = json.get<std::string>();
        const auto dot = text.find('.');
        if (dot == std::string::npos)
            return std::nullopt;
        return std::pair(text.substr(0, dot), text.substr(dot + 1));
    }

    bool readInputs(const Json& json, const std::string& path, std::map<std::string, Made>& children, Made& made,
        Dictionary* parameters)
    {
        Array published;
        const Json labels = member(shapeOf(made, "published"), "publishedInputPorts");
        const Dictionary values = parameters ? Dictionary() : values_.dictionary(member(json, "values"));
        for (const auto& [key, value] : member(json, "inputs").items()) {
            const auto port = portOf(value);
            const auto child = port ? children.find(port->first) : children.end();
            if (child == children.end()) {
                if (parameters && port)
                    return fail(path, "input \"" + key + "\" publishes no port of a patch here");
                made.ports[key] = values_.value(value);
                continue;
            }
            Dictionary state;
            // A value that stands at the port itself is the published input's.
            const auto stored = child->second.ports.find(port->second);
            const bool explicitly = values.count(key) || (parameters && parameters->count(key));
            Value given = values.count(key) ? values.at(key) : Value();
            if (!explicitly && stored != child->second.ports.end()) {
                given = stored->second;
                child->second.ports.erase(stored);
            }
            if (parameters && !given.isNothing())
                parameters->emplace(key, given);
            else if (!parameters && !given.isNothing())
                state["value"] = given;
            if (labels.contains(key))
                state["userInfo"] = values_.value(labels.at(key));
            published.push_back(
                Dictionary{{"key", key}, {"node", port->first}, {"port", port->second}, {"state", state}});
        }
        if (!published.empty())
            made.state["publishedInputPorts"] = published;
        for (const auto& [key, value] : shapeOf(made, "stored").items())
            made.ports[key] = values_.value(value);
        return values_.problem().empty();
    }

    bool readOutputs(const Json& json, const std::string& path, Made& made)
    {
        Array published;
        const Json labels = member(shapeOf(made, "published"), "publishedOutputPorts");
        for (const auto& [key, value] : member(json, "outputs").items()) {
            const auto port = portOf(value);
            if (!port)
                return fail(path, "output \"" + key + "\" is no \"patch.port\"");
            Dictionary state;
            if (labels.contains(key))
                state["userInfo"] = values_.value(labels.at(key));
            published.push_back(
                Dictionary{{"key", key}, {"node", port->first}, {"port", port->second}, {"state", state}});
        }
        if (!published.empty())
            made.state["publishedOutputPorts"] = published;
        return true;
    }

    bool readConnections(const Json& json, const std::string& path, Made& made)
    {
        Dictionary connections;
        for (const Json& entry : member(json, "connections")) {
            FileConnection c;
            if (entry.is_array() && entry.size() == 4
                && std::all_of(entry.begin(), entry.end(), [](const Json& e) { return e.is_string(); })) {
                c = {entry[0].get<std::string>(), entry[1].get<std::string>(), entry[2].get<std::string>(),
                    entry[3].get<std::string>()};
            } else {
                const std::string text = entry.is_string() ? entry.get<std::string>() : "";
                const auto arrow = text.find(" > ");
                const auto from = portOf(text.substr(0, arrow)),
                           to = portOf(arrow == std::string::npos ? "" : text.substr(arrow + 3));
                if (!from || !to)
                    return fail(
                        path, "\"" + text.substr(0, 80) + "\" is no connection; it reads \"patch.port > patch.port\"");
                c = {from->first, from->second, to->first, to->second};
            }
            connections["connection_" + std::to_string(connections.size() + 1)]
                = Dictionary{{"sourceNode", c.sourceNode}, {"sourcePort", c.sourcePort},
                    {"destinationNode", c.destinationNode}, {"destinationPort", c.destinationPort}};
        }
        if (!connections.empty())
            made.state["connections"] = connections;
        return true;
    }

    static const Json& shapeOf(const Made& made, const char* key)
    {
        static const Json none = Json::object();
        const auto found = made.shape.find(key);
        return found == made.shape.end() ? none : found->second;
    }

    Dictionary finished(Made made)
    {
        const Json& ports = shapeOf(made, "ports");
        std::map<std::string, Dictionary> kinds;
        for (const char* kind : kPortKinds) {
            for (const auto& [key, rest] : member(ports, kind).items()) {
                Dictionary port = values_.dictionary(rest);
                const auto value = made.ports.find(key);
                if (value != made.ports.end())
                    port["value"] = value->second;
                kinds[kind].insert_or_assign(key, port);
            }
        }
        for (const auto& port : made.ports) { // not taken apart: the capture of a binding is refused by some compilers
            const bool placed = std::any_of(
                kinds.begin(), kinds.end(), [&](const auto& kind) { return kind.second.count(port.first) > 0; });
            if (!placed)
                kinds[kPortKinds[port.first.starts_with('_') ? 2 : 0]][port.first] = Dictionary{{"value", port.second}};
        }
        for (auto& [kind, dictionary] : kinds)
            made.state[kind] = dictionary;
        for (const auto& [key, value] : shapeOf(made, "state").items())
            made.state[key] = values_.value(value);
        made.node["state"] = made.state;
        return made.node;
    }

    const std::string folder_;
    ValueReader values_;
    std::string problem_;
};

} // namespace

std::string textForm(const CompositionFile& file)
{
    TextBudget budget;
    const Json json = compositionJson(file.root, file.top(), &file.virtualPatches, budget);
    return budget.spent() ? std::string() : json.dump(2, ' ', false, Json::error_handler_t::replace);
}

Result<std::string, CompositionError> definitionText(const std::string& folder, const std::string& name)
{
    constexpr std::size_t kMaxDefinition = 1u << 20;
    const auto failure
        = [&](const char* why) { return CompositionError{"the definition in \"" + name.substr(0, 200) + "\" " + why}; };
    const auto bytes = readFileBeneath(folder, name, kMaxDefinition);
    if (!bytes)
        return failure(bytes.error() == EXDEV ? "lies neither beside the text nor beneath, or behind a link"
                : bytes.error() == EFBIG      ? "is longer than a megabyte"
                                              : "can't be read");
    std::string text(bytes->begin(), bytes->end());
    if (!isShapedForParsing(text, 1000, 50'000))
        return failure("nests too deep, or an object in it has too many members");
    const Json json = Json::parse(text, nullptr, false, true);
    if (!json.is_object() || !json.contains("patches"))
        return failure("is no JSON object with \"patches\"");
    if (json.contains("virtualPatches"))
        return failure("has definitions of its own; they stand in the text that plays");
    return text;
}

Result<Value, CompositionError> compositionFromText(std::string_view text, const std::string& folder)
{
    constexpr std::size_t kMaxText = 64u << 20;
    if (text.size() > kMaxText)
        return CompositionError{"the text is longer than 64 MiB"};
    if (!isShapedForParsing(text, 1000, 50'000))
        return CompositionError{"the text nests too deep, or an object in it has too many members"};
    const Json json = Json::parse(text, nullptr, false, true);
    if (const auto tree = json.is_discarded() ? textTree(text) : TextNode(); !tree) {
        const TextPlace place = TextPlaces(text).at(tree.error().offset);
        return CompositionError{"in line " + std::to_string(place.line) + ", column " + std::to_string(place.column)
            + ": " + tree.error().reason};
    }
    if (!json.is_object() || !json.contains("patches"))
        return CompositionError{"the text is no JSON object with \"patches\""};
    Maker maker(folder);
    auto made = maker.composition(json);
    if (!made || !maker.problem().empty())
        return CompositionError{maker.problem()};
    return Value(*made);
}

} // namespace vitrel::qc
