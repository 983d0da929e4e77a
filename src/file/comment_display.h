// What the Image Properties window shows of a picture's comments: the
// exposure, the camera, the GPS position with its map link, and the user
// comment fields. Text only, so that the windows stay thin.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/comments.h"

using PropertyRows = std::vector<std::pair<std::string, std::string>>;

// "Created:", "Shutter: ", "F stop: ", "ISO: ", "FL: ", "Lens: ", "WB: ",
// "Meter: ", "Exp prog: ", "Flash: ", then "Mfg: " and "Model: ". Lens and
// white balance come from the maker note when no comment gives them.
PropertyRows exposure_rows(const CommentList& list);

// "Lat/Long:", "Altitude:" and "Direction:"; the altitude in feet, or in
// meters when `metric`. Empty texts when the list has no position.
PropertyRows gps_rows(const CommentList& list, bool metric);

// The position as "Lat/Long:" shows it, "45.5N,7.25W"; empty when unknown.
std::string gps_position(const CommentList& list);

// The map site's address: every "%LatLong%" of `url_template` replaced by the
// position. The default template when `url_template` is empty.
inline constexpr const char map_macro[] = "%LatLong%";
inline constexpr const char default_map_url[] =
    "https://www.openstreetmap.org/search?query=%LatLong%";
std::string map_url(const std::string& url_template, const std::string& position);

// The comments the User Comments window edits, in its order, with labels.
struct UserCommentField {
    std::uint32_t code;
    const char* label;
};
inline constexpr UserCommentField user_comment_fields[] = {
    {3, "Description"},      {0, "Artist"},
    {1, "Copyright"},        {192, "Keywords"},
    {213, "City"},           {214, "Sub-location"},
    {215, "Province/State"}, {217, "Country/Primary Location Name"},
};
