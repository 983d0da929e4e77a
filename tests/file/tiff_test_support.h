// Shared by the TIFF tests: temporary folders, running Debian's tools,
// libtiff as the reference codec, and a neutral pixel form to compare in.
#pragma once

#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/tiff_reader.h"

namespace tiff_test {

// A folder of its own under the system's temporary folder, removed at the end.
class TempDir {
public:
    TempDir() {
        static int serial = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("orvane_tiff_" + std::to_string(::getpid()) + "_" + std::to_string(serial++));
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

// Runs a shell command; its standard output and error together, and its exit
// status.
inline std::string run(const std::string& command, int* status) {
    std::string output;
    FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe) {
        *status = -1;
        return output;
    }
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        output.append(buffer, n);
    const int raw = ::pclose(pipe);
    *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return output;
}

inline std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

// A picture as plain numbers: top line first, samples of a pixel in file order
// (red, green, blue for colour), each an unsigned number of `bits` bits.
struct Pixels {
    int width = 0;
    int height = 0;
    int channels = 1;
    int bits = 8;
    std::vector<std::uint32_t> samples;

    std::uint32_t at(int x, int y, int c = 0) const {
        return samples[(static_cast<std::size_t>(y) * width + x) * channels + c];
    }
    std::uint32_t& at(int x, int y, int c = 0) {
        return samples[(static_cast<std::size_t>(y) * width + x) * channels + c];
    }
};

// Gradients with seeded noise in the low bits, so that compressors find both
// runs and randomness.
inline Pixels make_pattern(int width, int height, int channels, int bits, unsigned seed) {
    Pixels p{width, height, channels, bits, {}};
    p.samples.resize(static_cast<std::size_t>(width) * height * channels);
    std::mt19937 rng(seed);
    const std::uint32_t top = (1u << bits) - 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                const std::uint64_t ramp = (static_cast<std::uint64_t>(x + 2 * y + 37 * c) * top) /
                                           static_cast<std::uint64_t>(width + 2 * height + 74);
                const std::uint32_t noise = rng() % (bits == 1 ? 2 : 4);
                std::uint32_t v = static_cast<std::uint32_t>(ramp) ^ noise;
                if (bits == 1) v = (x / 3 + y / 2 + static_cast<int>(rng() % 2)) % 2;
                p.at(x, y, c) = v & top;
            }
        }
    }
    return p;
}

// The Image as plain numbers: 1-bit pixels as 0 or 1, colour as red, green,
// blue.
inline Pixels pixels_of(const Image* image) {
    Pixels p;
    p.width = image->width;
    p.height = image->height;
    const bool colour = image->type == image_type_colour8 || image->type == image_type_colour16;
    const bool wide = image->type == image_type_gray16 || image->type == image_type_colour16;
    p.channels = colour ? 3 : 1;
    p.bits = image->type == image_type_binary ? 1 : wide ? 16 : 8;
    p.samples.resize(static_cast<std::size_t>(p.width) * p.height * p.channels);
    for (int y = 0; y < p.height; ++y) {
        const std::uint8_t* line = image->rows[p.height - 1 - y];
        for (int x = 0; x < p.width; ++x) {
            for (int c = 0; c < p.channels; ++c) {
                // Colour samples are stored blue first.
                const int k = colour ? x * 3 + (2 - c) : x;
                std::uint32_t v;
                if (p.bits == 1)
                    v = (line[x / 8] >> (7 - x % 8)) & 1;
                else if (wide)
                    v = static_cast<std::uint32_t>(line[2 * k] | line[2 * k + 1] << 8);
                else
                    v = line[k];
                p.at(x, y, c) = v;
            }
        }
    }
    return p;
}

// Makes an Image holding the plain numbers.
inline void image_from_pixels(const Pixels& p, Image* image) {
    int type = image_type_gray8;
    if (p.bits == 1)
        type = image_type_binary;
    else if (p.bits == 16)
        type = p.channels == 3 ? image_type_colour16 : image_type_gray16;
    else if (p.channels == 3)
        type = image_type_colour8;
    ASSERT_EQ(image_alloc(image, type, p.width, p.height, 150.0), 0);
    for (int y = 0; y < p.height; ++y) {
        std::uint8_t* line = image->rows[p.height - 1 - y];
        std::fill(line, line + image->row_bytes, 0);
        for (int x = 0; x < p.width; ++x) {
            for (int c = 0; c < p.channels; ++c) {
                const std::uint32_t v = p.at(x, y, c);
                const int k = p.channels == 3 ? x * 3 + (2 - c) : x;
                if (p.bits == 1) {
                    if (v) line[x / 8] = static_cast<std::uint8_t>(line[x / 8] | (0x80 >> (x % 8)));
                } else if (p.bits == 16) {
                    line[2 * k] = static_cast<std::uint8_t>(v);
                    line[2 * k + 1] = static_cast<std::uint8_t>(v >> 8);
                } else {
                    line[k] = static_cast<std::uint8_t>(v);
                }
            }
        }
    }
}

// Samples packed into a TIFF line, most significant bits first.
inline std::vector<std::uint8_t> pack_line(const Pixels& p, int y, int extra_channels = 0,
                                           std::uint32_t extra_value = 0) {
    const int per_pixel = p.channels + extra_channels;
    const std::size_t bits = static_cast<std::size_t>(p.width) * per_pixel * p.bits;
    std::vector<std::uint8_t> line((bits + 7) / 8, 0);
    std::size_t bit = 0;
    for (int x = 0; x < p.width; ++x) {
        for (int c = 0; c < per_pixel; ++c, bit += p.bits) {
            const std::uint32_t v = c < p.channels ? p.at(x, y, c) : extra_value;
            if (p.bits == 16) {
                const std::uint16_t s = static_cast<std::uint16_t>(v);
                std::memcpy(&line[bit / 8], &s, 2);  // libtiff takes host order
            } else {
                for (int b = 0; b < p.bits; ++b) {
                    if (v >> (p.bits - 1 - b) & 1)
                        line[(bit + b) / 8] |= static_cast<std::uint8_t>(0x80 >> ((bit + b) % 8));
                }
            }
        }
    }
    return line;
}

struct SourceOptions {
    bool big_endian = false;
    int photometric = -1;    // default: min-is-black or RGB
    int extra_channels = 0;  // alpha samples written after the colours
    int rows_per_strip = 0;  // 0: one strip
    int orientation = 0;     // 0: no tag
};

// Writes an uncompressed TIFF through libtiff's own API.
inline bool write_with_libtiff(const std::string& path, const Pixels& p,
                               const SourceOptions& o = {}) {
    TIFF* tif = TIFFOpen(path.c_str(), o.big_endian ? "wb" : "wl");
    if (!tif) return false;
    const int photometric = o.photometric >= 0 ? o.photometric
                            : p.channels >= 3  ? PHOTOMETRIC_RGB
                                               : PHOTOMETRIC_MINISBLACK;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, p.width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, p.height);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, p.bits);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, p.channels + o.extra_channels);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, o.rows_per_strip > 0 ? o.rows_per_strip : p.height);
    TIFFSetField(tif, TIFFTAG_XRESOLUTION, 300.0);
    TIFFSetField(tif, TIFFTAG_YRESOLUTION, 300.0);
    TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (o.orientation > 0) TIFFSetField(tif, TIFFTAG_ORIENTATION, o.orientation);
    if (o.extra_channels > 0) {
        std::vector<std::uint16_t> kinds(static_cast<std::size_t>(o.extra_channels),
                                         EXTRASAMPLE_UNASSALPHA);
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, o.extra_channels, kinds.data());
    }
    bool ok = true;
    for (int y = 0; y < p.height && ok; ++y) {
        std::vector<std::uint8_t> line =
            pack_line(p, y, o.extra_channels, 0xABCD & ((1u << p.bits) - 1));
        ok = TIFFWriteScanline(tif, line.data(), static_cast<std::uint32_t>(y), 0) >= 0;
    }
    TIFFClose(tif);
    return ok;
}

// libtiff's decoding of the first image of a file, or of the SubIFD at
// `subifd` when it is not 0: the samples exactly as stored (no photometric
// interpretation), all channels.
inline bool decode_with_libtiff(const std::string& path, Pixels* out, std::uint64_t subifd = 0) {
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif) return false;
    if (subifd != 0 && !TIFFSetSubDirectory(tif, subifd)) {
        TIFFClose(tif);
        return false;
    }
    std::uint32_t w = 0;
    std::uint32_t h = 0;
    std::uint16_t bits = 1;
    std::uint16_t spp = 1;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    out->width = static_cast<int>(w);
    out->height = static_cast<int>(h);
    out->channels = spp;
    out->bits = bits;
    out->samples.assign(static_cast<std::size_t>(w) * h * spp, 0);
    std::vector<std::uint8_t> line(static_cast<std::size_t>(TIFFScanlineSize(tif)));
    bool ok = true;
    for (std::uint32_t y = 0; y < h && ok; ++y) {
        ok = TIFFReadScanline(tif, line.data(), y, 0) >= 0;
        std::size_t bit = 0;
        for (std::uint32_t x = 0; x < w; ++x) {
            for (int c = 0; c < spp; ++c, bit += bits) {
                std::uint32_t v = 0;
                if (bits == 16) {
                    std::uint16_t s;
                    std::memcpy(&s, &line[bit / 8], 2);
                    v = s;
                } else {
                    for (int b = 0; b < bits; ++b)
                        v = v << 1 | ((line[(bit + b) / 8] >> (7 - (bit + b) % 8)) & 1);
                }
                out->at(static_cast<int>(x), static_cast<int>(y), c) = v;
            }
        }
    }
    TIFFClose(tif);
    return ok;
}

// Keeps the first `channels` channels.
inline Pixels first_channels(const Pixels& p, int channels) {
    Pixels q{p.width, p.height, channels, p.bits, {}};
    q.samples.resize(static_cast<std::size_t>(p.width) * p.height * channels);
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x)
            for (int c = 0; c < channels; ++c)
                q.at(x, y, c) = p.at(x, y, c);
    return q;
}

// Reads a binary PNM (P4, P5 or P6) as written by netpbm: for P4 a set bit is
// black, given here as 0, white as 1.
inline bool read_pnm(const std::string& path, Pixels* out) {
    std::vector<std::uint8_t> bytes = read_bytes(path);
    std::size_t pos = 0;
    auto token = [&]() {
        std::string t;
        while (pos < bytes.size()) {
            const char c = static_cast<char>(bytes[pos]);
            if (c == '#') {
                while (pos < bytes.size() && bytes[pos] != '\n')
                    ++pos;
            } else if (std::isspace(static_cast<unsigned char>(c))) {
                if (!t.empty()) break;
                ++pos;
            } else {
                t += c;
                ++pos;
            }
        }
        return t;
    };
    const std::string magic = token();
    if (magic != "P4" && magic != "P5" && magic != "P6") return false;
    out->width = std::atoi(token().c_str());
    out->height = std::atoi(token().c_str());
    const int maxval = magic == "P4" ? 1 : std::atoi(token().c_str());
    ++pos;  // the single white space before the data
    out->channels = magic == "P6" ? 3 : 1;
    out->bits = magic == "P4" ? 1 : maxval > 255 ? 16 : 8;
    out->samples.assign(static_cast<std::size_t>(out->width) * out->height * out->channels, 0);
    const std::size_t row_bytes =
        magic == "P4" ? (static_cast<std::size_t>(out->width) + 7) / 8
                      : static_cast<std::size_t>(out->width) * out->channels * (out->bits / 8);
    if (bytes.size() < pos + row_bytes * out->height) return false;
    for (int y = 0; y < out->height; ++y) {
        const std::uint8_t* row = bytes.data() + pos + row_bytes * y;
        for (int x = 0; x < out->width; ++x) {
            for (int c = 0; c < out->channels; ++c) {
                const std::size_t k = static_cast<std::size_t>(x) * out->channels + c;
                std::uint32_t v;
                if (out->bits == 1)
                    v = 1 - ((row[x / 8] >> (7 - x % 8)) & 1);
                else if (out->bits == 16)
                    v = static_cast<std::uint32_t>(row[2 * k] << 8 | row[2 * k + 1]);
                else
                    v = row[k];
                out->at(x, y, c) = v;
            }
        }
    }
    return true;
}

// Compares two pictures and reports the first difference.
inline ::testing::AssertionResult same_pixels(const Pixels& expected, const Pixels& actual) {
    if (expected.width != actual.width || expected.height != actual.height ||
        expected.channels != actual.channels)
        return ::testing::AssertionFailure()
               << "shape " << actual.width << "x" << actual.height << "x" << actual.channels
               << ", expected " << expected.width << "x" << expected.height << "x"
               << expected.channels;
    for (int y = 0; y < expected.height; ++y)
        for (int x = 0; x < expected.width; ++x)
            for (int c = 0; c < expected.channels; ++c)
                if (expected.at(x, y, c) != actual.at(x, y, c))
                    return ::testing::AssertionFailure()
                           << "pixel (" << x << ", " << y << ") channel " << c << " is "
                           << actual.at(x, y, c) << ", expected " << expected.at(x, y, c);
    return ::testing::AssertionSuccess();
}

// Reads a file with the own reader only (no fallback).
inline int read_own(const std::string& path, Image* image) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return -1;
    const int err = TiffReadAt(f, 0, image, false);
    std::fclose(f);
    return err;
}

// A TIFF put together entry by entry, for files no ordinary writer makes:
// header, then the data blocks, then IFD0 (entries in the order given), then
// the values that do not fit in their entries.
class HandMade {
public:
    explicit HandMade(bool big_endian = false) : big_(big_endian) {}

    // Appends a block of data (a strip) and returns its offset.
    std::uint32_t data(const std::vector<std::uint8_t>& bytes) {
        const std::uint32_t at = 8 + static_cast<std::uint32_t>(data_.size());
        data_.insert(data_.end(), bytes.begin(), bytes.end());
        return at;
    }
    // An entry of SHORT, LONG, BYTE or RATIONAL values (a rational takes two).
    HandMade& tag(int tag, int type, std::vector<std::uint32_t> values) {
        const std::uint32_t count = type == 5 ? static_cast<std::uint32_t>(values.size() / 2)
                                              : static_cast<std::uint32_t>(values.size());
        entries_.push_back({tag, type, count, std::move(values)});
        return *this;
    }
    // Replaces the entries of `tag` (or drops them with no values).
    HandMade& set(int tag, int type, std::vector<std::uint32_t> values) {
        drop(tag);
        if (!values.empty()) this->tag(tag, type, std::move(values));
        return *this;
    }
    HandMade& drop(int tag) {
        std::erase_if(entries_, [tag](const Entry& e) { return e.tag == tag; });
        return *this;
    }
    void version(unsigned v) { version_ = v; }

    std::vector<std::uint8_t> build() const {
        std::vector<std::uint8_t> out;
        auto u16 = [&](unsigned v) {
            if (big_) {
                out.push_back(static_cast<std::uint8_t>(v >> 8));
                out.push_back(static_cast<std::uint8_t>(v));
            } else {
                out.push_back(static_cast<std::uint8_t>(v));
                out.push_back(static_cast<std::uint8_t>(v >> 8));
            }
        };
        auto u32 = [&](std::uint32_t v) {
            if (big_) {
                u16(v >> 16);
                u16(v & 0xFFFF);
            } else {
                u16(v & 0xFFFF);
                u16(v >> 16);
            }
        };
        out.push_back(big_ ? 'M' : 'I');
        out.push_back(big_ ? 'M' : 'I');
        u16(version_);
        const std::uint32_t ifd = 8 + static_cast<std::uint32_t>(data_.size());
        u32(ifd);
        out.insert(out.end(), data_.begin(), data_.end());
        std::uint32_t value_at = ifd + 2 + 12 * static_cast<std::uint32_t>(entries_.size()) + 4;
        std::vector<std::uint8_t> values;
        u16(static_cast<unsigned>(entries_.size()));
        for (const Entry& e : entries_) {
            u16(static_cast<unsigned>(e.tag));
            u16(static_cast<unsigned>(e.type));
            u32(e.count);
            const std::size_t before = out.size();
            for (std::uint32_t v : e.values) {
                if (e.type == 3 || e.type == 8)
                    u16(v);
                else if (e.type == 1 || e.type == 2 || e.type == 7)
                    out.push_back(static_cast<std::uint8_t>(v));
                else
                    u32(v);
            }
            std::vector<std::uint8_t> bytes(out.begin() + static_cast<std::ptrdiff_t>(before),
                                            out.end());
            out.resize(before);
            if (bytes.size() <= 4) {
                bytes.resize(4, 0);
                out.insert(out.end(), bytes.begin(), bytes.end());
            } else {
                u32(value_at);
                values.insert(values.end(), bytes.begin(), bytes.end());
                value_at += static_cast<std::uint32_t>(bytes.size());
            }
        }
        u32(0);
        out.insert(out.end(), values.begin(), values.end());
        return out;
    }

private:
    struct Entry {
        int tag;
        int type;
        std::uint32_t count;
        std::vector<std::uint32_t> values;
    };
    bool big_;
    unsigned version_ = 42;
    std::vector<std::uint8_t> data_;
    std::vector<Entry> entries_;
};

// A plain 8-bit gray file of `strips` uncompressed strips, its pixels
// (x * 7 + y * 3) & 0xFF.
inline HandMade gray_file(int width, int height, int rows_per_strip, bool big = false) {
    HandMade t(big);
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> counts;
    for (int first = 0; first < height; first += rows_per_strip) {
        std::vector<std::uint8_t> strip;
        for (int y = first; y < std::min(height, first + rows_per_strip); ++y)
            for (int x = 0; x < width; ++x)
                strip.push_back(static_cast<std::uint8_t>(x * 7 + y * 3));
        offsets.push_back(t.data(strip));
        counts.push_back(static_cast<std::uint32_t>(strip.size()));
    }
    t.tag(256, 4, {static_cast<std::uint32_t>(width)})
        .tag(257, 4, {static_cast<std::uint32_t>(height)})
        .tag(258, 3, {8})
        .tag(259, 3, {1})
        .tag(262, 3, {1})
        .tag(273, 4, offsets)
        .tag(277, 3, {1})
        .tag(278, 4, {static_cast<std::uint32_t>(rows_per_strip)})
        .tag(279, 4, counts);
    return t;
}

inline std::uint32_t gray_file_pixel(int x, int y) {
    return static_cast<std::uint32_t>((x * 7 + y * 3) & 0xFF);
}

// Reads bytes with the own reader through a temporary file.
inline int read_own_bytes(const std::vector<std::uint8_t>& bytes, Image* image) {
    FILE* f = std::tmpfile();
    if (!f) return -1;
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::rewind(f);
    const int err = TiffReadAt(f, 0, image, false);
    std::fclose(f);
    return err;
}

}  // namespace tiff_test
