#include "core/comments.h"

#include <algorithm>
#include <array>
#include <new>

namespace {

// Code, name, kind, count, classes, tag or IPTC dataset, repeatable. Classes:
// 1 IFD0, 2 and 4 kept for older forms, 8 EXIF IFD, 16 GPS IFD, 32 IPTC.
// The rows stand in display order.
constexpr CommentInfo table[] = {
    {3, "Description", comment_long_text, 0, 7, 270, false},
    {0, "Artist", comment_text, 0, 3, 315, false},
    {1, "Copyright", comment_text, 0, 3, 33432, false},
    {2, "Time", comment_text, 20, 3, 306, false},
    {38, "Time sec", comment_text, 0, 8, 37520, false},
    {5, "Camera/Scanner Make", comment_text, 0, 3, 271, false},
    {6, "Camera/Scanner Model", comment_text, 0, 1, 272, false},
    {22, "Time Captured", comment_text, 20, 8, 36867, false},
    {39, "Time Captured sec", comment_text, 0, 8, 37521, false},
    {23, "Time Digitized", comment_text, 20, 8, 36868, false},
    {40, "Time Digitized sec", comment_text, 0, 8, 37522, false},
    {34, "Exposure (sec)", comment_rational, 0, 8, 33434, false},
    {35, "Aperture (f)", comment_rational, 0, 8, 33437, false},
    {33, "Focal Length (mm)", comment_rational, 0, 8, 37386, false},
    {29, "Subject Dist (m)", comment_rational, 0, 8, 37382, false},
    {27, "Exposure Bias (stops)", comment_srational, 0, 8, 37380, false},
    {30, "Metering Mode", comment_integer, 0, 8, 37383, false},
    {160, "Exposure Program", comment_integer, 0, 8, 34850, false},
    {32, "Flash", comment_integer, 0, 8, 37385, false},
    {162, "Film Speed (ISO)", comment_integer, 0, 8, 34855, false},
    {24, "Exposure (APEX)", comment_srational, 0, 8, 37377, false},
    {25, "Aperture (APEX)", comment_rational, 0, 8, 37378, false},
    {26, "Brightness (APEX)", comment_srational, 0, 8, 37379, false},
    {28, "Max Aperture (APEX)", comment_rational, 0, 8, 37381, false},
    {31, "Light Source", comment_integer, 0, 8, 37384, false},
    {159, "Color Space", comment_integer, 0, 8, 40961, false},
    {165, "Flash Energy", comment_rational, 0, 8, 41483, false},
    {169, "Subject Location", comment_integer, 2, 8, 41492, false},
    {170, "Exposure Index", comment_rational, 0, 8, 41493, false},
    {171, "Sensing Method", comment_integer, 0, 8, 41495, false},
    {246, "Components Config", comment_raw, 0, 8, 37121, false},
    {247, "Compressed Bits/Pixel", comment_rational, 0, 8, 37122, false},
    {227, "Subject Area", comment_integer, 0, 8, 37396, false},
    {248, "Pixel X Dim", comment_integer, 0, 8, 40962, false},
    {249, "Pixel Y Dim", comment_integer, 0, 8, 40963, false},
    {245, "Res Units", comment_integer, 0, 8, 41488, false},
    {228, "Custom Rendered", comment_integer, 0, 8, 41985, false},
    {229, "Exposure Mode", comment_integer, 0, 8, 41986, false},
    {230, "White Balance", comment_integer, 0, 8, 41987, false},
    {231, "Digital Zoom", comment_rational, 0, 8, 41988, false},
    {232, "Equiv 35mm FL", comment_integer, 0, 8, 41989, false},
    {233, "Scene Capture", comment_integer, 0, 8, 41990, false},
    {234, "Gain", comment_integer, 0, 8, 41991, false},
    {235, "Contrast", comment_integer, 0, 8, 41992, false},
    {236, "Saturation", comment_integer, 0, 8, 41993, false},
    {237, "Sharpness", comment_integer, 0, 8, 41994, false},
    {238, "Device Setting", comment_raw, 0, 8, 41995, false},
    {239, "Subj Dist Range", comment_integer, 0, 8, 41996, false},
    {240, "Unique ID", comment_text, 0, 8, 42016, false},
    {4, "Host Computer", comment_text, 0, 1, 316, false},
    {7, "Document Name", comment_text, 0, 1, 269, false},
    {8, "Page Name", comment_text, 0, 1, 285, false},
    {9, "Software", comment_text, 0, 1, 305, false},
    {41, "GPS Version", comment_bytes, 4, 16, 0, false},
    {42, "GPS Lat N/S", comment_text, 2, 16, 1, false},
    {43, "GPS Lat", comment_rational, 3, 16, 2, false},
    {44, "GPS Long E/W", comment_text, 2, 16, 3, false},
    {45, "GPS Long", comment_rational, 3, 16, 4, false},
    {47, "GPS Alt", comment_rational, 0, 16, 6, false},
    {48, "GPS Time", comment_rational, 3, 16, 7, false},
    {49, "GPS Satellites", comment_text, 0, 16, 8, false},
    {50, "GPS Status", comment_text, 2, 16, 9, false},
    {51, "GPS Measurement Mode", comment_text, 2, 16, 10, false},
    {52, "GPS Precision", comment_rational, 0, 16, 11, false},
    {53, "GPS Speed K/M", comment_text, 2, 16, 12, false},
    {54, "GPS Speed", comment_rational, 0, 16, 13, false},
    {55, "GPS Track M/T", comment_text, 2, 16, 14, false},
    {56, "GPS Track", comment_rational, 0, 16, 15, false},
    {57, "GPS Img Dir M/T", comment_text, 2, 16, 16, false},
    {58, "GPS Img Direction", comment_rational, 0, 16, 17, false},
    {59, "GPS Survey Data", comment_text, 0, 16, 18, false},
    {175, "Image Caption", comment_long_text, 0, 2, -1, false},
    {176, "Disclaimer", comment_long_text, 0, 2, -1, false},
    {177, "Warning", comment_long_text, 0, 2, -1, false},
    {178, "Misc Comment", comment_long_text, 0, 2, -1, false},
    {167, "Horizontal Res", comment_rational, 0, 8, 41486, false},
    {168, "Vertical Res", comment_rational, 0, 8, 41487, false},
    {172, "File Source", comment_raw, 0, 8, 41728, false},
    {173, "Scene Type", comment_raw, 0, 8, 41729, false},
    {161, "Spectral Sensitivity", comment_text, 0, 8, 34852, false},
    {164, "Related Audio File", comment_text, 0, 8, 40964, false},
    {36, "Maker Note", comment_raw, 0, 8, 37500, false},
    {21, "EXIF Version", comment_raw, 4, 8, 36864, false},
    {158, "FPX Version", comment_raw, 4, 8, 40960, false},
    {37, "User Comment", comment_raw, 0, 8, 37510, false},
    {163, "Optoelectric Coeff", comment_raw, 0, 8, 34856, false},
    {166, "Spatial Freq Resp", comment_raw, 0, 8, 41484, false},
    {174, "CFA Pattern", comment_raw, 0, 8, 41730, false},
    {46, "GPS Alt Ref", comment_bytes, 0, 16, 5, false},
    {60, "GPS Dest Lat N/S", comment_text, 2, 16, 19, false},
    {61, "GPS Dest Lat", comment_rational, 3, 16, 20, false},
    {62, "GPS Dest Long E/W", comment_text, 2, 16, 21, false},
    {63, "GPS Dest Long", comment_rational, 3, 16, 22, false},
    {64, "GPS Dest Bearing M/T", comment_text, 2, 16, 23, false},
    {65, "GPS Dest Bearing", comment_rational, 0, 16, 24, false},
    {66, "GPS Dest Dist K/M", comment_text, 2, 16, 25, false},
    {67, "GPS Dest Dist", comment_rational, 0, 16, 26, false},
    {241, "GPS Processing Method", comment_raw, 0, 16, 27, false},
    {242, "GPS Area Info", comment_raw, 0, 16, 28, false},
    {243, "GPS DATE", comment_text, 11, 16, 29, false},
    {244, "GPS Differential", comment_integer, 0, 16, 30, false},
    {181, "IPTC Version", comment_bytes, 0, 32, 0, false},
    {182, "Object Type Reference", comment_text, 0, 32, 3, false},
    {183, "Object Attribute Reference", comment_text, 0, 32, 4, true},
    {184, "Object Name", comment_text, 0, 32, 5, false},
    {185, "Edit Status", comment_text, 0, 32, 7, false},
    {186, "Editorial Update", comment_text, 0, 32, 8, false},
    {187, "Urgency", comment_text, 0, 32, 10, false},
    {188, "Subject Reference", comment_text, 0, 32, 12, true},
    {189, "Category", comment_text, 0, 32, 15, false},
    {190, "Supplemental Category", comment_text, 0, 32, 20, true},
    {191, "Fixture Identifier", comment_text, 0, 32, 22, false},
    {192, "Keywords", comment_text, 0, 32, 25, true},
    {193, "Content Location Code", comment_text, 0, 32, 26, true},
    {194, "Content Location Name", comment_text, 0, 32, 27, true},
    {195, "Release Date", comment_text, 0, 32, 30, false},
    {196, "Release Time", comment_text, 0, 32, 35, false},
    {197, "Expiration Date", comment_text, 0, 32, 37, false},
    {198, "Expiration Time", comment_text, 0, 32, 38, false},
    {199, "Special Instructions", comment_text, 0, 32, 40, false},
    {200, "Action Advised", comment_text, 0, 32, 42, false},
    {201, "Reference Service", comment_text, 0, 32, 45, true},
    {202, "Reference Date", comment_text, 0, 32, 47, true},
    {203, "Reference Number", comment_text, 0, 32, 50, true},
    {204, "Date Created", comment_text, 0, 32, 55, false},
    {205, "Time Created", comment_text, 0, 32, 60, false},
    {206, "Digital Creation Date", comment_text, 0, 32, 62, false},
    {207, "Digital Creation Time", comment_text, 0, 32, 63, false},
    {208, "Originating Program", comment_text, 0, 32, 65, false},
    {209, "Program Version", comment_text, 0, 32, 70, false},
    {210, "Object Cycle", comment_text, 0, 32, 75, false},
    {211, "By-line", comment_text, 0, 32, 80, true},
    {212, "By-line Title", comment_text, 0, 32, 85, true},
    {213, "City", comment_text, 0, 32, 90, false},
    {214, "Sub-location", comment_text, 0, 32, 92, false},
    {215, "Province/State", comment_text, 0, 32, 95, false},
    {216, "Country/Primary Location Code", comment_text, 0, 32, 100, false},
    {217, "Country/Primary Location Name", comment_text, 0, 32, 101, false},
    {218, "Original Transmission Reference", comment_text, 0, 32, 103, false},
    {219, "Headline", comment_text, 0, 32, 105, false},
    {220, "Credit", comment_text, 0, 32, 110, false},
    {221, "Source", comment_text, 0, 32, 115, false},
    {222, "Copyright Notice", comment_text, 0, 32, 116, false},
    {223, "Contact", comment_text, 0, 32, 118, true},
    {224, "Caption/Abstract", comment_text, 0, 32, 120, false},
    {225, "Writer/Editor", comment_text, 0, 32, 122, true},
    {226, "Language Identifier", comment_text, 0, 32, 135, false},
};

bool is_text(const CommentInfo* info) {
    return info->kind == comment_text || info->kind == comment_long_text;
}

}  // namespace

std::span<const CommentInfo> comment_table() {
    return table;
}

const CommentInfo* comment_info(std::uint32_t code) {
    for (const CommentInfo& row : table)
        if (row.code == code) return &row;
    return nullptr;
}

int CommentAdd(CommentList* list, std::uint32_t code, std::size_t size, const std::uint8_t* bytes) {
    const CommentInfo* info = comment_info(code);
    if (!info) return -1;
    if (CommentFind(*list, code)) return 0;
    try {
        Comment c;
        c.code = code;
        c.classes = info->classes;
        if (size > 0) c.bytes.assign(bytes, bytes + size);
        list->items.push_back(std::move(c));
    } catch (const std::bad_alloc&) {
        return 1;
    }
    return 0;
}

const Comment* CommentFind(const CommentList& list, std::uint32_t code) {
    for (const Comment& c : list.items)
        if (c.code == code) return &c;
    return nullptr;
}

void CommentRemove(CommentList* list, std::uint32_t code) {
    std::erase_if(list->items, [code](const Comment& c) { return c.code == code; });
}

void CommentFreeAll(CommentList* list) {
    list->items.clear();
    list->items.shrink_to_fit();
}

int CommentSetText(CommentList* list, std::uint32_t code, std::string_view text) {
    const CommentInfo* info = comment_info(code);
    if (!info) return -1;
    if (!is_text(info)) return 0;
    CommentRemove(list, code);
    if (text.empty()) return 0;
    return CommentAdd(list, code, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
}

int CommentSetTextMode(CommentList* list, std::uint32_t code, std::string_view text, int mode) {
    const CommentInfo* info = comment_info(code);
    if (!info) return -1;
    if (!is_text(info)) return 0;
    const Comment* old = CommentFind(*list, code);
    if (mode == 'd' && old && !old->bytes.empty()) return 0;
    if (mode == 'a' && old) {
        try {
            std::string joined(old->text());
            joined += text;
            return CommentSetText(list, code, joined);
        } catch (const std::bad_alloc&) {
            return 1;
        }
    }
    return CommentSetText(list, code, text);
}

int CommentsFilteredForSave(const CommentList& list, CommentList* out, int mask) {
    try {
        out->items.clear();
        if (mask & comment_drop_all) return 0;
        for (const Comment& c : list.items) {
            if ((mask & comment_drop_exif) && (c.classes & comment_class_exif)) continue;
            if ((mask & comment_drop_gps) && (c.classes & comment_class_gps)) continue;
            if ((mask & comment_drop_iptc) && (c.classes & comment_class_iptc)) continue;
            if ((mask & comment_drop_maker_note) && c.code == comment_code_maker_note) continue;
            out->items.push_back(c);
        }
    } catch (const std::bad_alloc&) {
        return 1;
    }
    return 0;
}
