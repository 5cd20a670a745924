#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace vitrel {

// A folder of resources with an Info.plist. Its information is read once. Any thread.
class NSBundle
{
public:
    explicit NSBundle(std::string folder);

    // The resources that belong to the running program: those found upwards from its file ("share/vitrel" beside
    // "bin", in a build folder, an installation or a moved one), else those of the installation that was configured.
    static NSBundle forExecutable();
    static NSBundle forExecutable(const std::string& executable);

    const std::string& resourcePath() const { return folder_; }
    // Empty without a readable Info.plist.
    const Dictionary& infoDictionary() const { return info_; }
    std::optional<std::string> bundleIdentifier() const;
    // The path of "NAME.TYPE" among the resources; absent if there is no such file.
    std::optional<std::string> pathForResourceOfType(const std::string& name, const std::string& type) const;

private:
    std::string folder_;
    Dictionary info_;
};

} // namespace vitrel
