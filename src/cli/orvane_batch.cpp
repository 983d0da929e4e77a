// orvane-batch: the editor's file routines without a window.
//   orvane-batch info FILE
//   orvane-batch convert IN OUT [--quality N] [--compression none|zip|lzw] [--thumbnail]
// TIFF, JPEG and PNG in, and out in the format of OUT's extension. --quality
// is for JPEG output, --compression and --thumbnail for TIFF output.
//   orvane-batch apply NAME [keyword values...] [--settings FILE] [--mask MASK] IN OUT
//   orvane-batch mask OUTLINE.poly|OUTLINE.spline [--feather W] REFERENCE OUT
//   orvane-batch comments FILE [--artist T] [--copyright T] [--description T]
//   orvane-batch rotate FILE 90|180|270
//   orvane-batch list
//   orvane-batch help NAME
//   orvane-batch --help | -h | --version
// Exit status 0 on success, otherwise the error code, with its text on
// standard error; 255 for a command line that cannot be understood or that
// gives an option the output format has no use for.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

#include "cli/batch_apply.h"
#include "cli/batch_help.h"
#include "cli/batch_io.h"
#include "cli/batch_mask.h"
#include "cli/batch_progress.h"
#include "core/errors.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/jpeg_io.h"
#include "file/metadata.h"
#include "file/metadata_edit.h"
#include "file/read_image.h"
#include "file/tiff_reader.h"
#include "file/write_image.h"
#include "workflow/band_run.h"

namespace {

// The usage, on standard output when asked for and on standard error after a
// command line that could not be understood.
int usage(std::FILE* to = stderr) {
    std::fprintf(to,
                 "usage: orvane-batch info FILE\n"
                 "       orvane-batch convert IN OUT [options]\n"
                 "       orvane-batch apply NAME [keyword values...] [--settings FILE]\n"
                 "                          [--mask MASK] IN OUT\n"
                 "       orvane-batch mask OUTLINE.poly|.spline [--feather W] REFERENCE OUT\n"
                 "       orvane-batch comments FILE [--artist T] [--copyright T] "
                 "[--description T]\n"
                 "       orvane-batch rotate FILE 90|180|270\n"
                 "       orvane-batch list\n"
                 "       orvane-batch help NAME\n"
                 "       orvane-batch --help | --version\n"
                 "Files are TIFF, JPEG or PNG; OUT's extension chooses the format written.\n"
                 "Options of convert:\n"
                 "  --quality N                  JPEG quality, 0 to 100 (default %d)\n"
                 "  --compression none|zip|lzw   TIFF compression (default none)\n"
                 "  --thumbnail                  TIFF: add a reduced image\n"
                 "comments rewrites those fields of a TIFF, JPEG or PNG file in place, and\n"
                 "rotate turns one clockwise without recompressing; on any failure the\n"
                 "file stays as it was.\n"
                 "list shows the transformations; help NAME the values and lines of one.\n"
                 "--mask takes a gray picture of IN's size: black keeps IN, white the result.\n"
                 "mask draws a saved outline at REFERENCE's size, feathered by W pixels.\n"
                 "On a terminal, work that takes over a second (ORVANE_PROGRESS_DELAY)\n"
                 "or an image over 50 megapixels shows its progress.\n"
                 "Exit status: 0, the error code of a failure, or 255 for a bad command line.\n",
                 jpeg_default_quality);
    return to == stderr ? batch_exit_usage : 0;
}

// An option that the output format has no use for.
int refuse_option(const char* option, const char* format) {
    std::fprintf(stderr, "orvane-batch: %s applies to %s output only\n", option, format);
    return batch_exit_usage;
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
    std::vector<std::uint8_t> profile;
    CommentList comments;
    if (int err = batch_read(path, image.get(), &profile, &comments)) return batch_fail(err);
    const std::string format = batch_format_name(path);
    std::printf("Format: %s\n", format.c_str());
    std::printf("Width: %d\n", image->width);
    std::printf("Height: %d\n", image->height);
    std::printf("Type: %s\n", type_name(image->type));
    std::printf("Resolution: %.1f\n", image->resolution);
    if (format == "TIFF") {
        TiffSummary summary;
        if (TiffProbeSummary(path.c_str(), &summary) == 0) {
            std::printf("Compression: %s\n", compression_name(summary.compression).c_str());
            std::printf("Orientation: %d\n", summary.orientation == 0 ? 1 : summary.orientation);
            std::printf("Profile: %s\n", summary.has_profile ? "yes" : "no");
            std::printf("Thumbnail: %s\n", summary.has_reduced ? "yes" : "no");
        }
    } else {
        std::printf("Profile: %s\n", profile.empty() ? "no" : "yes");
    }
    // The comments as the File Comments window lists them.
    for (const Comment& c : comments.items)
        for (const std::string& line : comment_lines(c))
            std::printf("%s\n", line.c_str());
    return 0;
}

// A whole number from `low` to `high` and nothing else.
bool parse_number(const std::string& text, int low, int high, int* value) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *value);
    return error == std::errc() && stop == end && !text.empty() && *value >= low && *value <= high;
}

int convert(const std::vector<std::string>& args) {
    std::string in;
    std::string out;
    SaveOptions options;
    options.progress = batch_progress_on();
    bool quality_given = false;
    bool compression_given = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool has_value = i + 1 < args.size();
        if (a == "--thumbnail") {
            options.tiff_thumbnail = true;
        } else if (a == "--compression" && has_value) {
            const std::string& c = args[++i];
            if (c == "none")
                options.tiff_compression = tiff_compression_none;
            else if (c == "zip")
                options.tiff_compression = tiff_compression_zip;
            else if (c == "lzw")
                options.tiff_compression = tiff_compression_lzw;
            else
                return usage();
            compression_given = true;
        } else if (a == "--quality" && has_value) {
            if (!parse_number(args[++i], 0, 100, &options.jpeg_quality)) return usage();
            quality_given = true;
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

    // Everything the names decide is settled before a possibly large read.
    const int filter = batch_filter_of_name(out);
    if (int err = batch_filter_check(filter)) return batch_fail(err);
    if (quality_given && filter != save_filter_jpeg) return refuse_option("--quality", "JPEG");
    if (filter != save_filter_tiff) {
        if (compression_given) return refuse_option("--compression", "TIFF");
        if (options.tiff_thumbnail) return refuse_option("--thumbnail", "TIFF");
    }

    // TIFF to TIFF or JPEG streams a band at a time; anything else goes whole.
    if (save_filter_writes_bands(filter)) {
        BandRun run;
        run.filter = filter;
        run.save = options;
        const int err = band_run(in, out, run);
        if (err != band_run_declined) return err ? batch_fail(err) : 0;
    }
    ImageHolder image;
    std::vector<std::uint8_t> profile;
    CommentList comments;
    if (int err = batch_read(in, image.get(), &profile, &comments)) return batch_fail(err);
    options.comments = &comments;
    if (int err = WriteImage(out.c_str(), filter, image.get(), profile, options)) return batch_fail(err);
    return 0;
}

// The file type code of an existing file: its name's, or for a name that
// says nothing, its first bytes'.
int file_type_of(const std::string& path) {
    const int type = FileTypeOfName(path);
    if (type != file_type_unknown) return type;
    FileSignature signature = FileSignature::other;
    if (file_signature(path.c_str(), &signature) != 0) return type;
    switch (signature) {
        case FileSignature::tiff:
            return file_type_tiff;
        case FileSignature::jpeg:
            return file_type_jpeg;
        case FileSignature::png:
            return file_type_png;
        case FileSignature::gif:
            return file_type_gif;
        default:
            return type;
    }
}

int comments(const std::vector<std::string>& args) {
    if (args.empty() || args.size() % 2 == 0) return usage();
    const char* fields[3] = {nullptr, nullptr, nullptr};
    static constexpr const char* names[3] = {"--artist", "--copyright", "--description"};
    for (std::size_t i = 1; i < args.size(); i += 2) {
        const auto* name = std::find(std::begin(names), std::end(names), args[i]);
        if (name == std::end(names)) return usage();
        fields[name - std::begin(names)] = args[i + 1].c_str();
    }
    const int type = file_type_of(args[0]);
    if (!comment_editing_supported(type)) {
        std::fprintf(stderr, "orvane-batch: %s\n", comment_editing_refusal);
        return 136;
    }
    if (int err = RewriteFileComments(args[0].c_str(), type, fields[0], fields[1], fields[2]))
        return batch_fail(err);
    return 0;
}

int rotate(const std::vector<std::string>& args) {
    int degrees = 0;
    if (args.size() != 2 || !parse_number(args[1], 90, 270, &degrees) || degrees % 90 != 0)
        return usage();
    if (int err = RotateFileLossless(args[0].c_str(), file_type_of(args[0]), degrees / 90))
        return batch_fail(err);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    const std::string command = argv[1];
    std::vector<std::string> args(argv + 2, argv + argc);
    if ((command == "--help" || command == "-h") && args.empty()) return usage(stdout);
    if (command == "--version" && args.empty()) {
        std::printf("orvane-batch %s\n", ORVANE_VERSION);
        return 0;
    }
    if (command == "help" && args.size() == 1) return batch_help(args[0]);
    batch_progress_start();
    if (command == "info" && args.size() == 1) return info(args[0]);
    if (command == "convert") return convert(args);
    if (command == "apply") return batch_apply(args);
    if (command == "mask") return batch_mask(args);
    if (command == "comments") return comments(args);
    if (command == "rotate") return rotate(args);
    if (command == "list" && args.empty()) return batch_list();
    return usage();
}
