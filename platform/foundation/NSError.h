#pragma once

#include <string>

namespace vitrel {

// What the platform's operations say when they fail.
struct NSError {
    std::string domain;
    long code = 0;
    std::string localizedDescription;

    // %@ of it.
    std::string description() const
    {
        return "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + localizedDescription + "\"";
    }
};

} // namespace vitrel
