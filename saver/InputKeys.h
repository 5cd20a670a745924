#pragma once

namespace vitrel {

// The inputs of a composition that the track record is written to, in the order of writing.
inline constexpr const char* kTrackInputKeys[] = {"Name", "Artist", "Album", "Artwork", "IsArtworkAvailable", "Year",
    "UserRating", "PlayCount", "TrackNumber", "TrackCount", "DiscNumber", "DiscCount", "Genre", "Composer", "Length",
    "album", "albumArt", "artist", "isPlaying", "name", "numTracks", "playCount", "Show_CD", "Show_cover_transition",
    "Show_help_on_start", "Cover_transition", "trackNumber", "Transition_selection", "userRating", "volumeArt", "year",
    "totalTimeInMS", "genre", "Show_performance_info", "Christmas_mode"};

// The inputs that make a composition one of system statistics. They are recognised and never written.
inline constexpr const char* kSystemInputKeys[]
    = {"CPU", "Bytes_In", "Bytes_Out", "Bytes_In_Percentage", "Bytes_Out_Percentage", "CPU_Formatted",
        "Bytes_In_Formatted", "Bytes_Out_Formatted", "Limit_Mbits_In", "Limit_Mbits_Out"};

// An input by which a composition asks for square artwork. Its value isn't read and never written.
inline constexpr const char* kRequiresSquareImage = "RequiresSquareImage";

} // namespace vitrel
