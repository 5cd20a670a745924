#pragma once

namespace vitrel {

// The keys of the track record. Most of them are names of composition inputs; the capitalised family and the other
// carry the same data.
inline constexpr const char* kiTunesName = "Name";
inline constexpr const char* kiTunesArtist = "Artist";
inline constexpr const char* kiTunesAlbum = "Album";
inline constexpr const char* kiTunesArtwork = "Artwork";
inline constexpr const char* kiTunesIsArtworkAvailable = "IsArtworkAvailable";
inline constexpr const char* kiTunesYear = "Year";
inline constexpr const char* kiTunesUserRating = "UserRating";
inline constexpr const char* kiTunesPlayCount = "PlayCount";
inline constexpr const char* kiTunesTrackNumber = "TrackNumber";
inline constexpr const char* kiTunesTrackCount = "TrackCount";
inline constexpr const char* kiTunesDiscNumber = "DiscNumber";
inline constexpr const char* kiTunesDiscCount = "DiscCount";
inline constexpr const char* kiTunesGenre = "Genre";
inline constexpr const char* kiTunesComposer = "Composer";
inline constexpr const char* kiTunesLength = "Length";

inline constexpr const char* kiVisualizeName = "name";
inline constexpr const char* kiVisualizeArtist = "artist";
inline constexpr const char* kiVisualizeAlbum = "album";
inline constexpr const char* kiVisualizeAlbumArt = "albumArt";
inline constexpr const char* kiVisualizeVolumeArt = "volumeArt"; // an input that nothing is written for
inline constexpr const char* kiVisualizeGenre = "genre";
inline constexpr const char* kiVisualizeYear = "year";
inline constexpr const char* kiVisualizeTrackNumber = "trackNumber";
inline constexpr const char* kiVisualizeNumTracks = "numTracks";
inline constexpr const char* kiVisualizeUserRating = "userRating";
inline constexpr const char* kiVisualizePlayCount = "playCount";
inline constexpr const char* kiVisualizeLength = "totalTimeInMS";
inline constexpr const char* kiVisualizeIsPlaying = "isPlaying";

inline constexpr const char* kiVisualizeShowCD = "Show_CD";
inline constexpr const char* kiVisualizeTransitionSelection = "Transition_selection";
inline constexpr const char* kiVisualizeShowCoverTransition = "Show_cover_transition";
inline constexpr const char* kiVisualizeCoverTransition = "Cover_transition";
inline constexpr const char* kiVisualizeShowHelpOnStart = "Show_help_on_start";
inline constexpr const char* kiVisualizeShowInformations = "Show_informations";

// Fields of the companion's packet that are no keys of the record, or stand beside them.
inline constexpr const char* kTitle = "Title";
inline constexpr const char* kArtist = "Artist";
inline constexpr const char* kAlbum = "Album";
inline constexpr const char* kAlbumImage = "Album Image";
inline constexpr const char* kiTunesTime = "Time";

} // namespace vitrel
