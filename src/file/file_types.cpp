#include "file/file_types.h"

#include <array>
#include <cstddef>

#include "core/image.h"

namespace {

struct Extension {
    const char* text;  // lower case, without the dot
    int file_type;
};

constexpr Extension extensions[] = {
    {"tif", file_type_tiff},     {"tiff", file_type_tiff},    {"jpg", file_type_jpeg},
    {"jpeg", file_type_jpeg},    {"jpe", file_type_jpeg},     {"bmp", file_type_bmp},
    {"pcx", file_type_pcx},      {"gif", file_type_gif},      {"tga", file_type_targa},
    {"png", file_type_png},      {"fpx", file_type_flashpix}, {"fit", file_type_fits},
    {"fits", file_type_fits},    {"rle", file_type_rle},      {"pcd", file_type_photo_cd},
    {"eps", file_type_eps},      {"cmp", file_type_cmp},      {"jp2", file_type_jpeg2000},
    {"j2k", file_type_jpeg2000}, {"crw", file_type_raw},      {"raw", file_type_raw},
    {"orf", file_type_raw},      {"mrw", file_type_raw},      {"bay", file_type_raw},
    {"raf", file_type_raw},      {"cs1", file_type_raw},      {"fff", file_type_raw},
    {"032", file_type_raw},      {"nef", file_type_raw},      {"kdc", file_type_raw},
    {"dcr", file_type_raw},      {"k25", file_type_raw},      {"dc2", file_type_raw},
    {"pef", file_type_raw},      {"rdc", file_type_raw},      {"srf", file_type_raw},
    {"cr2", file_type_raw},      {"sr2", file_type_raw},      {"arw", file_type_raw},
    {"dng", file_type_raw},      {"erf", file_type_raw},      {"nrw", file_type_raw},
    {"rw2", file_type_raw},      {"rwl", file_type_raw},      {"srw", file_type_raw},
    {"par", file_type_raw},      {"wfl", file_type_workflow}, {"ovalbum", file_type_album},
    {"avi", file_type_video},    {"mov", file_type_video},    {"mp4", file_type_video},
    {"mts", file_type_video},
};

// Names of Photo CD's index files, which are not pictures.
constexpr const char* photo_cd_index_names[] = {"info.pcd", "overview.pcd", "options.pcd"};

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equal_no_case(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

// Position of the dot that starts the extension, or npos. `also_colon` adds `:`
// to the separators, as the save side does.
std::size_t extension_dot(std::string_view name, bool also_colon) {
    for (std::size_t i = name.size(); i-- > 0;) {
        const char c = name[i];
        if (c == '.') return i;
        if (is_separator(c) || (also_colon && c == ':')) break;
    }
    return std::string_view::npos;
}

// The 16-bit types that the 16-bit question is about.
bool is_16bit_type(int image_type) {
    return image_type == image_type_gray16 || image_type == image_type_colour16 ||
           image_type == image_type_mosaic || image_type == image_type_four16;
}

constexpr int bit(int image_type) {
    return 1 << image_type;
}
constexpr int binary_gray_colour =
    bit(image_type_binary) | bit(image_type_gray8) | bit(image_type_colour8);

constexpr SaveFilter filters[save_filter_count] = {
    {"TIFF",
     "*.tif;*.tiff",
     ".tif",
     {".TIF", ".TIFF"},
     "TIFF files must have an extension of .tif or .tiff",
     binary_gray_colour | bit(image_type_gray16) | bit(image_type_colour16),
     58,
     false},
    {"JPEG",
     "*.jpg;*.jpeg;*.jpe;*.j2k;*.jp2",
     ".jpg",
     {".JPG", ".JPEG", ".JPE"},
     "JPEG files must have an extension of .jpg, .jpeg, or .jpe",
     bit(image_type_gray8) | bit(image_type_colour8),
     24,
     true},
    {"BMP",
     "*.bmp",
     ".bmp",
     {".BMP", nullptr},
     "BMP files must have an extension of .bmp",
     binary_gray_colour,
     30,
     true},
    {"Targa",
     "*.tga",
     ".tga",
     {".TGA", nullptr},
     "Targa files must have an extension of .tga",
     binary_gray_colour,
     27,
     true},
    {"PCX",
     "*.pcx",
     ".pcx",
     {".PCX", nullptr},
     "PCX files must have an extension of .pcx",
     binary_gray_colour,
     52,
     true},
    {"GIF",
     "*.gif",
     ".gif",
     {".GIF", nullptr},
     "GIF files must have an extension of .gif",
     binary_gray_colour,
     55,
     true},
    {"EPS",
     "*.eps",
     ".eps",
     {".EPS", nullptr},
     "EPS files must have an extension of .eps",
     bit(image_type_gray8),
     60,
     true},
    {"PNG",
     "*.png",
     ".png",
     {".PNG", nullptr},
     "PNG files must have an extension of .png",
     binary_gray_colour,
     47,
     true},
    {"FlashPix",
     "*.fpx",
     ".fpx",
     {".FPX", nullptr},
     "FlashPix files must have an extension of .fpx",
     bit(image_type_gray8) | bit(image_type_colour8),
     68,
     true},
    {"FITS",
     "*.fit;*.fits",
     ".fit",
     {".FIT", ".FITS"},
     "FITS files must have an extension of .fit or .fits",
     bit(image_type_gray8) | bit(image_type_gray16),
     46,
     false},
    {"RLE",
     "*.rle",
     ".rle",
     {".RLE", nullptr},
     "RLE files must have an extension of .rle",
     binary_gray_colour,
     98,
     true},
};

bool accepted_extension(const SaveFilter& row, std::string_view extension) {
    for (const char* accepted : row.accepted)
        if (accepted && equal_no_case(extension, accepted)) return true;
    return false;
}

}  // namespace

int FileTypeOfName(std::string_view name) {
    const std::size_t dot = extension_dot(name, false);
    if (dot == std::string_view::npos) return file_type_unknown;
    const std::string_view extension = name.substr(dot + 1);
    for (const Extension& e : extensions) {
        if (!equal_no_case(extension, e.text)) continue;
        if (e.file_type == file_type_photo_cd)
            for (const char* index_name : photo_cd_index_names)
                if (equal_no_case(name, index_name)) return file_type_unknown;
        return e.file_type;
    }
    return file_type_unknown;
}

const char* FormatNameOf(int file_type) {
    switch (file_type) {
        case file_type_tiff:
            return "TIFF";
        case file_type_jpeg:
            return "JPEG";
        case file_type_bmp:
            return "BMP";
        case file_type_pcx:
            return "PCX";
        case file_type_gif:
            return "GIF";
        case file_type_targa:
            return "Targa";
        case file_type_png:
            return "PNG";
        case file_type_flashpix:
            return "FlashPix";
        case file_type_fits:
            return "FITS";
        case file_type_rle:
            return "RLE";
        case file_type_photo_cd:
            return "Photo CD";
        case file_type_eps:
            return "Encapsulated PostScript";
        case file_type_raw:
            return "Raw";
        case file_type_video:
            return "Video";
        default:
            return "Unknown";
    }
}

int stored_file_type_of(int file_type) {
    switch (file_type) {
        case file_type_tiff:
            return 2;
        case file_type_jpeg:
            return 3;
        case file_type_bmp:
            return 4;
        case file_type_pcx:
            return 6;
        case file_type_gif:
            return 7;
        case file_type_targa:
            return 5;
        case file_type_png:
            return 9;
        case file_type_flashpix:
            return 10;
        case file_type_fits:
            return 11;
        case file_type_rle:
            return 12;
        case file_type_photo_cd:
            return 8;
        case file_type_jpeg2000:
            return 19;
        case file_type_raw:
            return 20;
        default:
            return -1;
    }
}

int kind_of_stored_type(int stored_file_type) {
    // Index = stored type 0..12.
    static constexpr std::array<int, 13> kinds = {
        file_type_unknown,  file_type_unknown, file_type_tiff, file_type_jpeg,     file_type_bmp,
        file_type_targa,    file_type_pcx,     file_type_gif,  file_type_photo_cd, file_type_png,
        file_type_flashpix, file_type_fits,    file_type_rle,
    };
    if (stored_file_type == -1) return file_type_photo_cd;
    if (stored_file_type == 20) return file_type_raw;
    if (stored_file_type < 0 || stored_file_type > 12) return file_type_unknown;
    return kinds[static_cast<std::size_t>(stored_file_type)];
}

bool file_type_has_thumbnails(int file_type) {
    return (file_type >= 0 && file_type <= 9) || file_type == file_type_cmp ||
           file_type == file_type_jpeg2000 || file_type == file_type_raw;
}

bool file_type_has_comments(int file_type) {
    return (file_type >= 0 && file_type <= 9) || file_type == file_type_eps;
}

const SaveFilter* save_filter(int filter) {
    if (filter < 1 || filter > save_filter_count) return nullptr;
    return &filters[filter - 1];
}

int save_filter_of_stored_type(int stored_file_type) {
    switch (stored_file_type) {
        case 2:
            return save_filter_tiff;
        case 3:
            return save_filter_jpeg;
        case 4:
            return save_filter_bmp;
        case 5:
            return save_filter_targa;
        case 6:
            return save_filter_pcx;
        case 7:
            return save_filter_gif;
        case 9:
            return save_filter_png;
        case 10:
            return save_filter_flashpix;
        case 11:
            return save_filter_fits;
        case 12:
            return save_filter_rle;
        default:
            return 0;
    }
}

int stored_type_of_save_filter(int filter) {
    switch (filter) {
        case save_filter_tiff:
            return 2;
        case save_filter_jpeg:
            return 3;
        case save_filter_bmp:
            return 4;
        case save_filter_targa:
            return 5;
        case save_filter_pcx:
            return 6;
        case save_filter_gif:
            return 7;
        case save_filter_png:
            return 9;
        case save_filter_flashpix:
            return 10;
        case save_filter_fits:
            return 11;
        case save_filter_rle:
            return 12;
        default:
            return 0;  // EPS, and no filter
    }
}

int save_refusal(int filter, int image_type) {
    const SaveFilter* row = save_filter(filter);
    if (!row) return 71;
    const bool known = image_type >= 0 && image_type < 31;
    return known && (row->accepted_types & bit(image_type)) != 0 ? 0 : row->refusal;
}

bool save_asks_16bit(int filter, int image_type) {
    const SaveFilter* row = save_filter(filter);
    return row && row->check_16bit_first && is_16bit_type(image_type);
}

bool name_has_extension(std::string_view name) {
    return extension_dot(name, true) != std::string_view::npos;
}

std::string name_with_filter_extension(std::string_view name, int filter) {
    const SaveFilter* row = save_filter(filter);
    const std::size_t dot = extension_dot(name, true);
    std::string result(dot == std::string_view::npos ? name : name.substr(0, dot));
    if (row) result += row->default_extension;
    return result;
}

bool save_name_check(int filter, std::string* name) {
    const SaveFilter* row = save_filter(filter);
    if (!row) return false;
    const std::size_t dot = extension_dot(*name, true);
    if (dot == std::string::npos) {
        *name += row->default_extension;
        return true;
    }
    return accepted_extension(*row, std::string_view(*name).substr(dot));
}
