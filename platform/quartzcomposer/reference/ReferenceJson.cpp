#include "platform/quartzcomposer/reference/ReferenceJson.h"

#include <cmath>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;

void put(Json& json, const Measure& measure)
{
    if (*measure.unit)
        json["unit"] = measure.unit;
    if (!measure.labels.empty()) {
        json["labels"] = measure.labels;
        return;
    }
    if (std::isfinite(measure.least))
        json["least"] = measure.least;
    if (std::isfinite(measure.most))
        json["most"] = measure.most;
}

Json portsJson(const std::vector<ReferencePort>& ports)
{
    Json list = Json::array();
    for (const ReferencePort& port : ports) {
        Json json{{"key", port.words.key}, {"type", typeInWords(port.type)}};
        if (!port.usual.is_null())
            json["usual"] = port.usual;
        json["meaning"] = port.words.meaning;
        put(json, port.words.measure);
        list.push_back(std::move(json));
    }
    return list;
}

Json settingsJson(const std::vector<DescribedSetting>& settings)
{
    Json list = Json::array();
    for (const DescribedSetting& setting : settings) {
        Json json{{"key", setting.key}, {"kind", kindInWords(setting.kind)}, {"meaning", setting.meaning}};
        put(json, setting.measure);
        if (!setting.words.empty())
            json["words"] = setting.words;
        if (*setting.example)
            json["example"] = Json::parse(setting.example, nullptr, false);
        list.push_back(std::move(json));
    }
    return list;
}

} // namespace

Json referenceJson(const std::vector<ReferenceFamily>& families)
{
    Json list = Json::array();
    for (const ReferenceFamily& family : families) {
        Json patches = Json::array();
        for (const ReferencePatch& patch : family.patches) {
            Json json{{"class", patch.name}, {"title", patch.title}, {"sentence", patch.sentence}};
            if (patch.isMacro)
                json["macro"] = true;
            if (patch.standsIn)
                json["standsIn"] = true;
            json["inputs"] = portsJson(patch.inputs);
            json["outputs"] = portsJson(patch.outputs);
            json["settings"] = settingsJson(patch.settings);
            patches.push_back(std::move(json));
        }
        list.push_back({{"name", family.name}, {"patches", std::move(patches)}});
    }
    return {{"families", std::move(list)}};
}

} // namespace vitrel::qc
