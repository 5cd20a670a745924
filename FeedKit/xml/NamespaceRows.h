#pragma once

#include "FeedKit/xml/PathTable.h"

// Rows of the namespaces, which several tables share. Owner... is the way from the feed to the namespace's object.
namespace FeedKit {

template <class Feed, auto... Owner>
inline constexpr PathRow<Feed> kSyndicationRows[] = {
    {"updatePeriod", nothing, updatePeriod<Owner..., &SyndicationNamespace::syUpdatePeriod>},
    {"updateFrequency", nothing, integer<Owner..., &SyndicationNamespace::syUpdateFrequency>},
    {"updateBase", nothing, date<Owner..., &SyndicationNamespace::syUpdateBase>},
};

template <class Feed, auto... Owner>
inline constexpr PathRow<Feed> kDublinCoreRows[] = {
    {"title", nothing, append<Owner..., &DublinCoreNamespace::dcTitle>},
    {"creator", nothing, append<Owner..., &DublinCoreNamespace::dcCreator>},
    {"subject", nothing, append<Owner..., &DublinCoreNamespace::dcSubject>},
    {"description", nothing, append<Owner..., &DublinCoreNamespace::dcDescription>},
    {"publisher", nothing, append<Owner..., &DublinCoreNamespace::dcPublisher>},
    {"contributor", nothing, append<Owner..., &DublinCoreNamespace::dcContributor>},
    {"date", nothing, date<Owner..., &DublinCoreNamespace::dcDate>},
    {"type", nothing, append<Owner..., &DublinCoreNamespace::dcType>},
    {"format", nothing, append<Owner..., &DublinCoreNamespace::dcFormat>},
    {"identifier", nothing, append<Owner..., &DublinCoreNamespace::dcIdentifier>},
    {"source", nothing, append<Owner..., &DublinCoreNamespace::dcSource>},
    {"language", nothing, append<Owner..., &DublinCoreNamespace::dcLanguage>},
    {"relation", nothing, append<Owner..., &DublinCoreNamespace::dcRelation>},
    {"coverage", nothing, append<Owner..., &DublinCoreNamespace::dcCoverage>},
    {"rights", nothing, append<Owner..., &DublinCoreNamespace::dcRights>},
};

// --- Media RSS, in the pieces that the tables put together: M is the way to the namespace's object.

template <class Feed, auto... M>
inline constexpr PathRow<Feed> kMediaRows[] = {
    {"thumbnail", add<M..., &MediaNamespace::mediaThumbnails>,
        append<M..., &MediaNamespace::mediaThumbnails, &MediaThumbnail::value>},
    {"content", add<M..., &MediaNamespace::mediaContents>, nothing},
};

template <class Feed, auto... Content>
inline constexpr PathRow<Feed> kMediaContentRows[] = {
    {"title", firstWins<Content..., &MediaContent::mediaTitle>,
        append<Content..., &MediaContent::mediaTitle, &MediaTitle::value>},
    {"description", firstWins<Content..., &MediaContent::mediaDescription>,
        append<Content..., &MediaContent::mediaDescription, &MediaDescription::value>},
    {"player", firstWins<Content..., &MediaContent::mediaPlayer>,
        append<Content..., &MediaContent::mediaPlayer, &MediaPlayer::value>},
    {"thumbnail", add<Content..., &MediaContent::mediaThumbnails>,
        append<Content..., &MediaContent::mediaThumbnails, &MediaThumbnail::value>},
    {"keywords", newArray<Content..., &MediaContent::mediaKeywords>,
        keywords<Content..., &MediaContent::mediaKeywords>},
    {"category", firstWins<Content..., &MediaContent::mediaCategory>,
        append<Content..., &MediaContent::mediaCategory, &MediaCategory::value>},
};

template <class Feed, auto... M>
inline constexpr PathRow<Feed> kMediaOptionalRows[] = {
    {"community", firstWins<M..., &MediaNamespace::mediaCommunity>, nothing},
    {"community/media:starRating", firstWins<M..., &MediaNamespace::mediaCommunity, &MediaCommunity::mediaStarRating>,
        nothing},
    {"community/media:statistics", firstWins<M..., &MediaNamespace::mediaCommunity, &MediaCommunity::mediaStatistics>,
        nothing},
    {"community/media:tags", newArray<M..., &MediaNamespace::mediaCommunity, &MediaCommunity::mediaTags>,
        tags<M..., &MediaNamespace::mediaCommunity, &MediaCommunity::mediaTags>},
    {"comments", newArray<M..., &MediaNamespace::mediaComments>, nothing},
    {"comments/media:comment", nothing, addText<M..., &MediaNamespace::mediaComments>},
    {"embed", firstWins<M..., &MediaNamespace::mediaEmbed>, nothing},
    {"embed/media:param", add<M..., &MediaNamespace::mediaEmbed, &MediaEmbed::mediaParams>,
        append<M..., &MediaNamespace::mediaEmbed, &MediaEmbed::mediaParams, &MediaParam::value>},
    {"responses", newArray<M..., &MediaNamespace::mediaResponses>, nothing},
    {"responses/media:response", nothing, addText<M..., &MediaNamespace::mediaResponses>},
    {"backLinks", newArray<M..., &MediaNamespace::mediaBackLinks>, nothing},
    {"backLinks/media:backLink", nothing, addText<M..., &MediaNamespace::mediaBackLinks>},
    {"status", firstWins<M..., &MediaNamespace::mediaStatus>, nothing},
    {"price", add<M..., &MediaNamespace::mediaPrices>, nothing},
    {"license", firstWins<M..., &MediaNamespace::mediaLicense>,
        append<M..., &MediaNamespace::mediaLicense, &MediaLicence::value>},
    {"subTitle", firstWins<M..., &MediaNamespace::mediaSubTitle>, nothing},
    {"peerLink", firstWins<M..., &MediaNamespace::mediaPeerLink>, nothing},
    {"location", firstWins<M..., &MediaNamespace::mediaLocation>, nothing},
    {"location/georss:where/gml:Point/gml:pos", nothing, position<M..., &MediaNamespace::mediaLocation>},
    {"restriction", firstWins<M..., &MediaNamespace::mediaRestriction>,
        append<M..., &MediaNamespace::mediaRestriction, &MediaRestriction::value>},
    {"scenes", newArray<M..., &MediaNamespace::mediaScenes>, nothing},
    {"scenes/media:scene", add<M..., &MediaNamespace::mediaScenes>, nothing},
};

// Their start tags make no namespace object.
template <class Feed, auto... Scene>
inline constexpr PathRow<Feed> kMediaSceneRows[] = {
    {"sceneTitle", nothing, append<Scene..., &MediaScene::sceneTitle>},
    {"sceneDescription", nothing, append<Scene..., &MediaScene::sceneDescription>},
    {"sceneStartTime", nothing, duration<Scene..., &MediaScene::sceneStartTime>},
    {"sceneEndTime", nothing, duration<Scene..., &MediaScene::sceneEndTime>},
};

template <class Feed, auto... M>
inline constexpr PathRow<Feed> kMediaGroupRows[] = {
    {"group", firstWins<M..., &MediaNamespace::mediaGroup>, nothing},
    {"group/media:credit", add<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaCredits>,
        append<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaCredits, &MediaCredit::value>},
    {"group/media:category", firstWins<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaCategory>,
        append<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaCategory, &MediaCategory::value>},
    {"group/media:rating", firstWins<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaRating>,
        append<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaRating, &MediaRating::value>},
    {"group/media:content", add<M..., &MediaNamespace::mediaGroup, &MediaGroup::mediaContents>, nothing},
};

} // namespace FeedKit
