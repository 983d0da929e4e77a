#include "file/comment_display.h"

#include <cstdio>
#include <cstring>

#include "file/metadata.h"

namespace {

std::string text_of(const CommentList& list, std::uint32_t code) {
    const Comment* c = CommentFind(list, code);
    return c ? CommentText(*c) : std::string();
}

// A rational as a short number: "22", "5.6".
std::string short_number(const CommentList& list, std::uint32_t code, std::size_t index = 0) {
    const Comment* c = CommentFind(list, code);
    if (!c || c->bytes.size() < 8 * (index + 1)) return {};
    std::uint32_t v[2];
    std::memcpy(v, c->bytes.data() + 8 * index, 8);
    if (v[1] == 0) return {};
    char buffer[32];
    std::snprintf(
        buffer, sizeof buffer, "%.6g",
        comment_info(code)->kind == comment_srational
            ? static_cast<double>(static_cast<std::int32_t>(v[0])) / static_cast<std::int32_t>(v[1])
            : static_cast<double>(v[0]) / v[1]);
    return buffer;
}

}  // namespace

PropertyRows exposure_rows(const CommentList& list) {
    MakerNoteFacts facts;
    if (const Comment* note = CommentFind(list, comment_code_maker_note))
        MakerNoteInfo(note->bytes, text_of(list, 5), text_of(list, 6), &facts);
    std::string created = text_of(list, 22);
    if (created.empty()) created = text_of(list, 2);
    std::string shutter = text_of(list, 34);
    if (!shutter.empty()) shutter += " sec";
    const std::string f = short_number(list, 35);
    const std::string focal = short_number(list, 33);
    const std::string equivalent = text_of(list, 232);
    std::string fl;
    if (!focal.empty())
        fl = equivalent.empty() || equivalent == "0"
                 ? focal + " mm"
                 : focal + " mm (35mm equiv. " + equivalent + " mm)";
    std::string iso = text_of(list, 162);
    if (iso.empty()) iso = facts.iso;
    std::string wb = text_of(list, 230);
    if (wb.empty()) wb = facts.white_balance;
    return {
        {"Created:", created},
        {"Shutter: ", shutter},
        {"F stop: ", f.empty() ? f : "f/" + f},
        {"ISO: ", iso},
        {"FL: ", fl},
        {"Lens: ", facts.lens},
        {"WB: ", wb},
        {"Meter: ", text_of(list, 30)},
        {"Exp prog: ", text_of(list, 160)},
        {"Flash: ", text_of(list, 32)},
        {"Mfg: ", text_of(list, 5)},
        {"Model: ", text_of(list, 6)},
    };
}

std::string gps_position(const CommentList& list) {
    const std::string lat = text_of(list, 43);
    const std::string lon = text_of(list, 45);
    if (lat.empty() || lon.empty()) return {};
    return lat + text_of(list, 42) + "," + lon + text_of(list, 44);
}

PropertyRows gps_rows(const CommentList& list, bool metric) {
    std::string altitude;
    if (const std::string metres = short_number(list, 47); !metres.empty()) {
        const Comment* below = CommentFind(list, 46);
        const double sign = below && !below->bytes.empty() && below->bytes[0] == 1 ? -1.0 : 1.0;
        const double m = sign * std::stod(metres);
        char buffer[48];
        std::snprintf(buffer, sizeof buffer, metric ? "%6.1f meters" : "%6.1f feet",
                      metric ? m : m / 0.3048);
        altitude = buffer;
    }
    std::string direction = short_number(list, 58);
    if (!direction.empty()) direction.append(" ").append(text_of(list, 57));
    return {{"Lat/Long:", gps_position(list)}, {"Altitude:", altitude}, {"Direction:", direction}};
}

std::string map_url(const std::string& url_template, const std::string& position) {
    std::string url = url_template.empty() ? default_map_url : url_template;
    const std::string macro = map_macro;
    for (std::size_t at = url.find(macro); at != std::string::npos;
         at = url.find(macro, at + position.size()))
        url.replace(at, macro.size(), position);
    return url;
}
