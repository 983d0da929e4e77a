#include "core/errors.h"

#include <cstdio>

namespace {

// Indexed by code. Codes without a text of their own read as the unexplained ones.
constexpr const char* error_texts[error_count] = {
    "OK",                                                                                  // 0
    "Insufficient memory for operation",                                                   // 1
    "Unexpected end of file",                                                              // 2
    "Cannot create file",                                                                  // 3
    "Cannot open file",                                                                    // 4
    "Error reading file",                                                                  // 5
    "Error writing file (disk full or read-only file?)",                                   // 6
    "Error getting file position",                                                         // 7
    "Error setting file position",                                                         // 8
    "Error closing file",                                                                  // 9
    "Error changing working directory",                                                    // 10
    "Operation Aborted",                                                                   // 11
    "Error reading file header",                                                           // 12
    "Too many images",                                                                     // 13
    "Illegal input image type",                                                            // 14
    "Illegal color line file",                                                             // 15
    "Illegal curve file",                                                                  // 16
    "Illegal monitor calibration file",                                                    // 17
    "Error converting color space",                                                        // 18
    "CD-ROM drive not found",                                                              // 19
    "PhotoCD overview file not found",                                                     // 20
    "Cannot convert image data to scanner profile",                                        // 21
    "Error reading JPEG file",                                                             // 22
    "Error writing JPEG file (disk full or read-only file?)",                              // 23
    "Only grayscale or color images can be saved in JPEG format",                          // 24
    "Error reading TARGA file",                                                            // 25
    "Error writing TARGA file (disk full or read-only file?)",                             // 26
    "Only grayscale or color images can be saved in TARGA format",                         // 27
    "Error reading BMP file",                                                              // 28
    "Error writing BMP file (disk full or read-only file?)",                               // 29
    "Only binary, grayscale, or color images can be saved in BMP format",                  // 30
    "Illegal color balance file",                                                          // 31
    "Can't clone an image of this type",                                                   // 32
    "Can't paint or draw on an image of this type",                                        // 33
    "Can't clone color over gray",                                                         // 34
    "Can't retouch an image of this type",                                                 // 35
    "Window in use - cannot close",                                                        // 36
    "Can't create or delete read-only file",                                               // 37
    "Error deleting file",                                                                 // 38
    "Photo CD drive not specified -- see File Preferences",                                // 39
    "Cannot determine printer page size",                                                  // 40
    "Error generating spline curve",                                                       // 41
    "Illegal color curve file",                                                            // 42
    "Illegal input gamma value",                                                           // 43
    "Illegal output gamma value",                                                          // 44
    "Problem reading FlashPix file",                                                       // 45
    "Only grayscale images can be saved in FITS format",                                   // 46
    "Only binary, grayscale, or color images can be saved in PNG format",                  // 47
    "Problem reading PNG file",                                                            // 48
    "Problem writing PNG file",                                                            // 49
    "Problem reading PCX file",                                                            // 50
    "Problem writing PCX file",                                                            // 51
    "Only binary, grayscale, or color images can be saved in PCX format",                  // 52
    "Problem reading GIF file",                                                            // 53
    "Problem writing GIF file",                                                            // 54
    "Only binary, grayscale, or color images can be saved in GIF format",                  // 55
    "Problem reading TIFF file",                                                           // 56
    "Problem writing TIFF file",                                                           // 57
    "Only binary, grayscale, or color images can be saved in TIFF format",                 // 58
    "Problem writing EPS file",                                                            // 59
    "Only grayscale images can be saved in EPS format",                                    // 60
    "All alignment points must be distinct",                                               // 61
    "No halftone screen image specified",                                                  // 62
    "Problem writing FlashPix file",                                                       // 63
    "Print area too small (check margins)",                                                // 64
    "Error checking directory",                                                            // 65
    "No left image specified",                                                             // 66
    "No right image specified",                                                            // 67
    "Only grayscale or color images can be saved in FlashPix format",                      // 68
    "Display adapter set to less than 256 colors",                                         // 69
    "Unsupported clipboard compression type",                                              // 70
    "Unknown file type",                                                                   // 71
    "This application requires Windows 3.1",                                               // 72
    "Internal Error 1",                                                                    // 73
    "Internal Error 2",                                                                    // 74
    "Internal Error 3",                                                                    // 75
    "Window in use - cannot save under a new name",                                        // 76
    "No image specified or images not all the same type",                                  // 77
    "File of same name already open",                                                      // 78
    "Error reading PhotoCD Image",                                                         // 79
    "Cannot compute perspective transformation",                                           // 80
    "Image too small",                                                                     // 81
    "Tools/Probes don't work on preview windows",                                          // 82
    "Windows is not running in Enhanced Mode",                                             // 83
    "Error reading FITS file",                                                             // 84
    "Error writing FITS file",                                                             // 85
    "Display is set to 256 colors but palette is disabled",                                // 86
    "Illegal color registration file",                                                     // 87
    "Cannot find or create the temporary file directory",                                  // 88
    "Error scanning directory for matching files",                                         // 89
    "Error reading PhotoCD file",                                                          // 90
    "Density value illegal or out of sequence",                                            // 91
    "Missing reference image file: refimg.jpg",                                            // 92
    "Illegal drive letter",                                                                // 93
    "Printer not ready",                                                                   // 94
    "Illegal page layout file",                                                            // 95
    "Error reading RLE file",                                                              // 96
    "Error writing RLE file (disk full or read-only file?)",                               // 97
    "Only binary or grayscale image can be saved in RLE format",                           // 98
    "Error reading image file",                                                            // 99
    "Illegal color correction file",                                                       // 100
    "Image too big for clipboard",                                                         // 101
    "Image too wide",                                                                      // 102
    "Error deleting folder",                                                               // 103
    "Error reading file comments",                                                         // 104
    "Error opening color profile",                                                         // 105
    "Invalid color profile",                                                               // 106
    "No color profile",                                                                    // 107
    "Not a color space profile",                                                           // 108
    "Error creating color transform",                                                      // 109
    "Error applying color transform",                                                      // 110
    "Error enumerating color profiles",                                                    // 111
    "Error enumerating color management modules",                                          // 112
    "Error computing drop shadow",                                                         // 113
    "Error loading saved polygon or spline",                                               // 114
    "Error saving polygon or spline",                                                      // 115
    "Missing or invalid target image",                                                     // 116
    "Error reading color profile from JPEG file",                                          // 117
    "Error writing color profile to JPEG file",                                            // 118
    "Error reading reference file",                                                        // 119
    "Illegal color management settings file",                                              // 120
    "A target color profile is required when transforming image data",                     // 121
    "Color temperature out of range",                                                      // 122
    "Image types must all be the same",                                                    // 123
    "Image sizes must all be the same",                                                    // 124
    "File Open already in progress\nPlease retry after current file operation completes",  // 125
    "Error setting comments in JPEG file",                                                 // 126
    "Error reading raw file",                                                              // 127
    "Tools/Probes don't work in batch mode",                                               // 128
    "File not found",                                                                      // 129
    "Raw file is an unsupported type",                                                     // 130
    "Problem reading PAR file",                                                            // 131
    "Problem writing PAR file",                                                            // 132
    "Raw file load already in progress",                                                   // 133
    "Problem reading bad pixel file",                                                      // 134
    nullptr,                                                  // 135: reserved, never raised
    "File has an unsupported feature",                        // 136
    "LeadTools internal error",                               // 137
    "Unknown error reported by LeadTools",                    // 138
    "Error converting to wide characters",                    // 139
    nullptr,                                                  // 140: reserved, never raised
    "Unsupported compression method",                         // 141
    "Unsupported orientation",                                // 142
    "Unsupported predictor",                                  // 143
    "Image is too wide to read",                              // 144
    "Unsupported TIFF subfile type",                          // 145
    "Unsupported TIFF grayscale bits per pixel",              // 146
    "Unsupported TIFF color bits per pixel",                  // 147
    "Unsupported TIFF color:  mixed bits per pixel",          // 148
    "Unsupported TIFF samples per pixel",                     // 149
    "Unsupported TIFF photometric interpretation",            // 150
    "Unsupported TIFF fill order",                            // 151
    "Unsupported TIFF planar configuration",                  // 152
    "TIFF strip byte counts missing",                         // 153
    "Differencing not supported for black and white images",  // 154
    "Missing or inconsistent TIFF tag(s)",                    // 155
    "Error decoding LZW compressed data in TIFF file",        // 156
    "Unsupported bits per pixel",                             // 157
    "The color module Ltclr15x.dll is missing. It is a required download: get it from the Orvane "
    "support page (Help > Support Settings) and place it beside the program.",        // 158
    "Cannot perform operation. File name too long",                                   // 159
    "The workflow is incomplete. One or more processing steps do not have widgets.",  // 160
    "A workflow does not exist.",                                                     // 161
    "The root image file does not exist or has been modified.",                       // 162
    "Error: The selected file does not contain a Raw Widget.",                        // 163
    "Preview is not available.",                                                      // 164
    "The PhotoCD format is not supported in 64-bit environments.",                    // 165
    "Error getting file size.",                                                       // 166
    "Workflow file contains an undefined widget. See Help/Check Updates for newer version.Timeout "
    "error.GDIPlus unable to extract thumbnail.",  // 167
};

class StderrReporter final : public ErrorReporter {
public:
    void report(int, const char* caption, const char* text) override {
        std::fprintf(stderr, "%s: %s\n", caption, text);
    }
};

StderrReporter stderr_reporter;
ErrorReporter* current_reporter = &stderr_reporter;

}  // namespace

const char* error_text(int code) {
    if (code < 0 || code >= error_count + 2) return "Unrecognized Error";
    if (code >= error_count || error_texts[code] == nullptr) return "Unexplainable Error";
    return error_texts[code];
}

ErrorReporter* error_set_reporter(ErrorReporter* reporter) {
    ErrorReporter* old = current_reporter == &stderr_reporter ? nullptr : current_reporter;
    current_reporter = reporter ? reporter : &stderr_reporter;
    return old;
}

void error_report(int code) {
    if (code == err_ok) return;
    current_reporter->report(code, code == err_aborted ? "Attention" : "Error", error_text(code));
}

void error_report_message(const char* text) {
    current_reporter->report(-1, "Error", text);
}
