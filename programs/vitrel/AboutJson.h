#pragma once

#include "platform/quartzcomposer/graph/CompositionAbout.h"

#include <nlohmann/json.hpp>

namespace vitrel {

// As the settings window hears it, over its preview's link and from its thumbnails.
inline nlohmann::ordered_json aboutJson(const qc::CompositionAbout& about)
{
    return {{"title", about.title}, {"author", about.author}, {"description", about.description},
        {"missing", about.missing}};
}

} // namespace vitrel
