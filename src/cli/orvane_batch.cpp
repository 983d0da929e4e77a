// orvane-batch: the editor's file routines without a window.
//   orvane-batch info FILE
//   orvane-batch convert IN OUT [--compression none|zip|lzw] [--thumbnail]
//   orvane-batch apply NAME [keyword values...] [--settings FILE] IN OUT
//   orvane-batch list
// Exit status 0 on success, otherwise the error code, with its text on
// standard error; 255 for a command line that cannot be understood.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli/batch_apply.h"
#include "cli/batch_io.h"
#include "core/errors.h"
#include "core/image.h"
#include "file/tiff_reader.h"
#include "file/tiff_writer.h"

namespace {

constexpr int exit_usage = 255;

int usage() {
    std::fputs(
        "usage: orvane-batch info FILE\n"
        "       orvane-batch convert IN OUT [--compression none|zip|lzw] [--thumbnail]\n"
        "       orvane-batch apply NAME [keyword values...] [--settings FILE] IN OUT\n"
        "       orvane-batch list\n",
        stderr);
    return exit_usage;
}

int fail(int code) {
    std::fprintf(stderr, "orvane-batch: %s\n", error_text(code));
    return code;
}

const char* type_name(int type) {
    switch (type) {
        case image_type_binary:
            return "Binary Image";
        case image_type_gray8:
            return "Black and White Image";
        case image_type_colour8:
            return "Color Image";
        case image_type_gray16:
            return "Black and White Image (16-bit)";
        case image_type_colour16:
            return "Color Image (48-bit)";
        default:
            return "Empty";
    }
}

std::string compression_name(int code) {
    switch (code) {
        case 1:
            return "none";
        case 2:
            return "CCITT RLE";
        case 3:
            return "CCITT Group 3";
        case 4:
            return "CCITT Group 4";
        case 5:
            return "LZW";
        case 6:
        case 7:
            return "JPEG";
        case 8:
        case 32946:
            return "Zip";
        case 32773:
            return "PackBits";
        default:
            return "code " + std::to_string(code);
    }
}

int info(const std::string& path) {
    ImageHolder image;
    if (int err = batch_read(path, image.get())) return fail(err);
    std::printf("Format: %s\n", batch_format_name(path).c_str());
    std::printf("Width: %d\n", image->width);
    std::printf("Height: %d\n", image->height);
    std::printf("Type: %s\n", type_name(image->type));
    std::printf("Resolution: %.1f\n", image->resolution);
    TiffSummary summary;
    if (batch_format_name(path) == "TIFF" && TiffProbeSummary(path.c_str(), &summary) == 0) {
        std::printf("Compression: %s\n", compression_name(summary.compression).c_str());
        std::printf("Orientation: %d\n", summary.orientation == 0 ? 1 : summary.orientation);
        std::printf("Profile: %s\n", summary.has_profile ? "yes" : "no");
        std::printf("Thumbnail: %s\n", summary.has_reduced ? "yes" : "no");
    }
    return 0;
}

int convert(const std::vector<std::string>& args) {
    std::string in;
    std::string out;
    int compression = tiff_compression_none;
    bool thumbnail = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--thumbnail") {
            thumbnail = true;
        } else if (a == "--compression" && i + 1 < args.size()) {
            const std::string& c = args[++i];
            if (c == "none")
                compression = tiff_compression_none;
            else if (c == "zip")
                compression = tiff_compression_zip;
            else if (c == "lzw")
                compression = tiff_compression_lzw;
            else
                return usage();
        } else if (a.rfind("--", 0) == 0) {
            return usage();
        } else if (in.empty()) {
            in = a;
        } else if (out.empty()) {
            out = a;
        } else {
            return usage();
        }
    }
    if (in.empty() || out.empty()) return usage();
    ImageHolder image;
    if (int err = batch_read(in, image.get())) return fail(err);
    if (int err = batch_write(out, image.get(), compression, thumbnail)) return fail(err);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    const std::string command = argv[1];
    std::vector<std::string> args(argv + 2, argv + argc);
    if (command == "info" && args.size() == 1) return info(args[0]);
    if (command == "convert") return convert(args);
    if (command == "apply") return batch_apply(args);
    if (command == "list" && args.empty()) return batch_list();
    return usage();
}
