// JavaScript in compositions.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/script/Script.h"
#include "platform/quartzcomposer/script/ScriptHeader.h"

namespace vitrel::qc {

namespace {

PortType portTypeOf(ScriptType type)
{
    switch (type) {
    case ScriptType::Boolean:
        return PortType::Boolean;
    case ScriptType::Index:
        return PortType::Index;
    case ScriptType::Number:
        return PortType::Number;
    case ScriptType::String:
        return PortType::String;
    case ScriptType::Color:
        return PortType::Color;
    case ScriptType::Image:
        return PortType::Image;
    case ScriptType::Structure:
        return PortType::Structure;
    case ScriptType::Virtual:
        break;
    }
    return PortType::Virtual;
}

// What a script can only hand on, kept with its kind so that it comes back as what it was.
ScriptValue handle(const PortValue& value)
{
    return ScriptHandle{std::make_shared<const PortValue>(value)};
}

ScriptValue scriptValue(const PortValue& value, int depth = 0)
{
    constexpr int kMaxDepth = 64;
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto* index = value.as<std::uint32_t>())
        return static_cast<double>(*index);
    if (const auto* number = value.as<double>())
        return *number;
    if (const auto* text = value.as<std::string>())
        return *text;
    if (const auto* c = value.as<NSColor>())
        return ScriptColor{c->red, c->green, c->blue, c->alpha};
    if (const auto* image = value.as<ImageRef>())
        return *image ? handle(value) : ScriptValue();
    if (const auto* mesh = value.as<MeshRef>())
        return *mesh ? handle(value) : ScriptValue();
    const auto* structure = value.as<StructureRef>();
    if (!structure || !*structure || depth > kMaxDepth)
        return {};
    if ((*structure)->keyed) {
        ScriptObject members;
        for (const auto& member : (*structure)->members)
            members.emplace_back(member.key, scriptValue(member.value, depth + 1));
        return members;
    }
    ScriptArray members;
    for (const auto& member : (*structure)->members)
        members.push_back(scriptValue(member.value, depth + 1));
    return members;
}

PortValue portValueOf(const ScriptValue& value)
{
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto* number = value.as<double>())
        return *number;
    if (const auto* text = value.as<std::string>())
        return *text;
    if (const auto* c = value.as<ScriptColor>())
        return NSColor{c->r, c->g, c->b, c->a};
    if (const auto* held = value.as<ScriptHandle>())
        return held->object ? *static_cast<const PortValue*>(held->object.get()) : PortValue();
    auto structure = std::make_shared<Structure>();
    if (const auto* members = value.array()) {
        for (const ScriptValue& member : *members)
            structure->members.push_back({{}, portValueOf(member)});
        return StructureRef(structure);
    }
    if (const auto* members = value.object()) {
        structure->keyed = true;
        for (const auto& [key, member] : *members)
            structure->members.push_back({key, portValueOf(member)});
        return StructureRef(structure);
    }
    return {};
}

class JavaScriptPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"JavaScript", "A function of its own in JavaScript. It runs when an input changed.",
            {{"*", "A parameter or a result of the script, by its name"}},
            {{"newMode", DescribedSetting::Flag,
                 "Without effect here; other players need it on for a script with such a head"},
                {"script", DescribedSetting::Text,
                    "The script: a function main, with results and parameters in its head, each with its type: "
                    "__boolean, __index, __number, __string, __color, __image, __structure or __virtual",
                    {}, {},
                    R"x("function (__number sum, __color shade) main (__number a, __structure list) { return { sum: a + list.length, shade: { red: 1, green: 0, blue: 0, alpha: 1 } }; }")x"}}};
    }

private:
    struct Argument {
        std::vector<InputPort*> ports;
        bool isArray;
    };
    struct Result {
        std::string name;
        std::vector<OutputPort*> ports;
        bool isArray;
    };

    void configure(const Settings& settings) override
    {
        const auto header = parseScriptHeader(settings.text("script"));
        if (!header)
            return;
        source_ = header->source;
        // By its place in the composition, so that scripts don't all draw the same numbers.
        for (const Macro* macro = parent; macro; macro = macro->parent)
            place_ = place_ * 1'000'003u + macro->nodes().size() + 1;
        for (const ScriptParameter& parameter : header->inputs) {
            Argument argument{{}, parameter.arrayCount > 0};
            each(parameter, [&](const std::string& key) {
                const PortType type = portTypeOf(parameter.type);
                argument.ports.push_back(&addInput(key, type, zeroOf(type)));
            });
            arguments_.push_back(std::move(argument));
        }
        for (const ScriptParameter& parameter : header->outputs) {
            Result result{parameter.name, {}, parameter.arrayCount > 0};
            each(parameter,
                [&](const std::string& key) { result.ports.push_back(&addOutput(key, portTypeOf(parameter.type))); });
            results_.push_back(std::move(result));
        }
    }
    std::vector<SourceFault> sourceFaults(const Settings& settings) const override
    {
        const std::string text = settings.text("script");
        const auto header = parseScriptHeader(text);
        if (!header)
            return {{"script", 0, 0,
                "the script has no function main with types: function (__number result) main (__number value)"}};
        const auto error = Script::check(header->source);
        if (!error)
            return {};
        // The header's line reads otherwise in the plain script.
        const bool isAsWritten = lineOf(text, error->line) == lineOf(header->source, error->line);
        return {{"script", error->line, isAsWritten ? error->column : 1, error->message}};
    }
    static std::string_view lineOf(std::string_view text, std::uint32_t line)
    {
        for (; line > 1 && text.find('\n') != text.npos; --line)
            text.remove_prefix(text.find('\n') + 1);
        return text.substr(0, text.find('\n'));
    }
    template <class Make> static void each(const ScriptParameter& parameter, Make make)
    {
        if (parameter.arrayCount == 0)
            make(parameter.key);
        for (int k = 0; k < parameter.arrayCount; ++k)
            make(parameter.key + "_" + std::to_string(k));
    }

    // Compiled when it is first asked: a composition may hold many scripts that it seldom or never runs.
    void evaluate(Evaluation&) override
    {
        if (!source_.empty()) {
            ScriptLimits limits;
            limits.seed = place_;
            auto compiled = Script::compile(source_, limits);
            source_.clear();
            if (compiled)
                script_ = std::move(*compiled);
        }
        if (!script_)
            return;
        std::vector<ScriptValue> values;
        for (const Argument& argument : arguments_) {
            ScriptArray members;
            for (const InputPort* port : argument.ports)
                members.push_back(scriptValue(port->value()));
            values.push_back(argument.isArray ? ScriptValue(std::move(members)) : std::move(members.front()));
        }
        const auto returned = script_->run(values);
        if (!returned)
            return;
        for (const auto& [name, value] : *returned) {
            for (const Result& result : results_) {
                if (result.name == name)
                    give(result, value);
            }
        }
    }
    static void give(const Result& result, const ScriptValue& value)
    {
        if (!result.isArray) {
            result.ports.front()->set(portValueOf(value));
            return;
        }
        const ScriptArray* members = value.array();
        for (std::size_t k = 0; members && k < std::min(members->size(), result.ports.size()); ++k)
            result.ports[k]->set(portValueOf((*members)[k]));
    }

    std::string source_;
    std::uint64_t place_ = 0;
    std::unique_ptr<Script> script_;
    std::vector<Argument> arguments_;
    std::vector<Result> results_;
};

} // namespace

void registerScriptsPatches(PatchRegistry& registry)
{
    registry.family("Structures and scripts");
    registry.add<JavaScriptPatch>("QCJavaScript");
}

} // namespace vitrel::qc
