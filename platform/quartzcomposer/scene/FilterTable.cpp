// Every filter that compositions may use, by its documented name, parameters and usual values, with its words.
#include "platform/quartzcomposer/scene/FilterTable.h"

#include <array>

namespace vitrel::qc {

std::span<const FilterGroup> filterGroups()
{
    static const std::array groups{commonFilters(), blendingFilters(), colorsFilters(), blursFilters(),
        screensFilters(), distortionsFilters(), generatorsFilters(), tilesFilters(), transitionsFilters(),
        areasFilters()};
    return groups;
}

const Filter* filterNamed(const std::string& name)
{
    for (const FilterGroup& group : filterGroups()) {
        for (const Filter& filter : group.filters) {
            if (name == filter.name)
                return &filter;
        }
    }
    return nullptr;
}

} // namespace vitrel::qc
