// What there is to write compositions with: patches, schema.
#include "platform/quartzcomposer/checking/Diagnostic.h"
#include "platform/quartzcomposer/checking/NearestName.h"
#include "platform/quartzcomposer/reference/ReferenceJson.h"
#include "platform/quartzcomposer/reference/ReferenceText.h"
#include "platform/quartzcomposer/reference/Schema.h"
#include "programs/vitrel/Commands.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

namespace vitrel {

namespace {

void print(const nlohmann::ordered_json& json)
{
    std::cout << json.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

std::size_t columnsOfTerminal()
{
    constexpr std::size_t kUsual = 80;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

// The name that was probably meant; a kind may be called by its own.
std::string nearest(const std::vector<qc::ReferenceFamily>& families, const std::string& name)
{
    std::vector<std::string> names;
    for (const auto& family : families) {
        for (const auto& patch : family.patches) {
            names.push_back(patch.name);
            if (const auto slash = patch.name.find('/'); slash != std::string::npos)
                names.push_back(patch.name.substr(slash + 1));
        }
    }
    return qc::nearestHint(name, names);
}

int patches(const std::string& name, bool asJson)
{
    const auto families = qc::reference(qc::allPatches());
    if (asJson) {
        print(qc::referenceJson(families));
        return 0;
    }
    if (name.empty()) {
        std::cout << qc::referenceList(families, columnsOfTerminal());
        return 0;
    }
    const qc::ReferencePatch* patch = qc::patchNamed(families, name);
    if (!patch)
        return complain("there is no class " + qc::quoted(name) + nearest(families, name));
    std::cout << qc::referencePage(*patch, columnsOfTerminal());
    return 0;
}

} // namespace

void addPatches(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("patches", "List the patches that compositions are made of, or explain one");
    const auto name = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    command->add_option("CLASS", *name, "The class to explain, such as QCLFO or CIGaussianBlur");
    command->add_flag("--json", *json, "Print all that there is to know of all, as JSON");
    command->callback([&action, name, json] { action = [=] { return patches(*name, *json); }; });
}

void addSchema(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("schema", "Print a JSON Schema of the text form, for editors");
    command->callback([&action] {
        action = [] {
            print(qc::textFormSchema(qc::reference(qc::allPatches())));
            return 0;
        };
    });
}

} // namespace vitrel
