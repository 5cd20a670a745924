#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/models/Fields.h"

#include <optional>
#include <string>

namespace FeedKit {

// The Dublin Core elements (prefix "dc") of a channel or an item. An element that occurs more than once runs together.
struct DublinCoreNamespace {
    std::optional<std::string> dcTitle;
    std::optional<std::string> dcCreator;
    std::optional<std::string> dcSubject;
    std::optional<std::string> dcDescription;
    std::optional<std::string> dcPublisher;
    std::optional<std::string> dcContributor;
    std::optional<Date> dcDate;
    std::optional<std::string> dcType;
    std::optional<std::string> dcFormat;
    std::optional<std::string> dcIdentifier;
    std::optional<std::string> dcSource;
    std::optional<std::string> dcLanguage;
    std::optional<std::string> dcRelation;
    std::optional<std::string> dcCoverage;
    std::optional<std::string> dcRights;

    FEEDKIT_FIELDS(DublinCoreNamespace, dcTitle, dcCreator, dcSubject, dcDescription, dcPublisher, dcContributor,
        dcDate, dcType, dcFormat, dcIdentifier, dcSource, dcLanguage, dcRelation, dcCoverage, dcRights)
};

} // namespace FeedKit
