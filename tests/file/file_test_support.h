// Helpers of the file and shell tests: scratch folders, Debian's command line
// tools and libtiff as independent readers and writers, netpbm-style pictures
// as the neutral form in which pictures are compared, and TIFF files put
// together by hand. Free of any test framework, so that GoogleTest and Qt Test
// files both use it.
#pragma once

#include <sys/wait.h>
#include <tiffio.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "core/image.h"
#include "core/progress.h"
#include "file/tiff_reader.h"

namespace file_test {

// A folder of its own for one test, removed with everything in it at the end.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ovfileXXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data())) path_ = buffer.data();
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Runs a shell command; true when it exits with 0.
inline bool run(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

// A command's standard output and error together; its exit status in `status`.
inline std::string output_of(const std::string& command, int* status) {
    std::string output;
    *status = -1;
    FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return output;
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        output.append(buffer, n);
    const int raw = ::pclose(pipe);
    *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return output;
}

inline std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

inline std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

// A picture in netpbm's terms: top line first, red-green-blue, samples from 0
// to `maxval`. Bilevel pictures have maxval 1 with white as 1; 4-bit TIFF
// samples have maxval 15.
struct Picture {
    int width = 0;
    int height = 0;
    int channels = 1;  // 1 or 3 (more for TIFF samples as stored)
    int maxval = 255;
    std::vector<std::uint32_t> samples;

    std::uint32_t& at(int x, int y, int c = 0) {
        return samples[(static_cast<std::size_t>(y) * width + x) * channels + c];
    }
    std::uint32_t at(int x, int y, int c = 0) const {
        return samples[(static_cast<std::size_t>(y) * width + x) * channels + c];
    }
};

inline int bits_of(const Picture& p) {
    return p.maxval == 1 ? 1 : p.maxval == 15 ? 4 : p.maxval > 255 ? 16 : 8;
}

namespace detail {
inline int read_number(std::istream& in) {
    int c = in.get();
    while (c != EOF) {
        if (c == '#') {
            while (c != EOF && c != '\n')
                c = in.get();
        } else if (!std::isspace(c)) {
            break;
        }
        c = in.get();
    }
    int value = 0;
    while (c != EOF && std::isdigit(c)) {
        value = value * 10 + (c - '0');
        c = in.get();
    }
    return value;  // the one whitespace byte after the number is consumed
}
}  // namespace detail

// Reads P4, P5 and P6 files; an empty Picture when the file is none of these.
inline Picture read_pnm(const std::string& path) {
    Picture p;
    std::ifstream in(path, std::ios::binary);
    char magic[2] = {};
    in.read(magic, 2);
    if (!in || magic[0] != 'P' || (magic[1] != '4' && magic[1] != '5' && magic[1] != '6')) return p;
    p.width = detail::read_number(in);
    p.height = detail::read_number(in);
    p.channels = magic[1] == '6' ? 3 : 1;
    p.maxval = magic[1] == '4' ? 1 : detail::read_number(in);
    const std::size_t count = static_cast<std::size_t>(p.width) * p.height * p.channels;
    p.samples.assign(count, 0);
    if (magic[1] == '4') {
        const int line = (p.width + 7) / 8;
        std::vector<unsigned char> bytes(static_cast<std::size_t>(line));
        for (int y = 0; y < p.height; ++y) {
            in.read(reinterpret_cast<char*>(bytes.data()), line);
            for (int x = 0; x < p.width; ++x)  // PBM's 1 is black
                p.at(x, y, 0) = (bytes[x / 8] >> (7 - x % 8)) & 1 ? 0 : 1;
        }
    } else {
        const int size = p.maxval > 255 ? 2 : 1;
        for (std::size_t i = 0; i < count; ++i) {
            std::uint32_t v = static_cast<unsigned char>(in.get());
            if (size == 2) v = v << 8 | static_cast<unsigned char>(in.get());
            p.samples[i] = v;
        }
    }
    if (!in) p = Picture();
    return p;
}

// Writes P4 (bilevel), P5 or P6.
inline void write_pnm(const std::string& path, const Picture& p) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << (p.maxval == 1 ? "P4" : p.channels == 3 ? "P6" : "P5") << "\n"
        << p.width << " " << p.height << "\n";
    if (p.maxval == 1) {
        for (int y = 0; y < p.height; ++y)
            for (int x = 0; x < p.width; x += 8) {
                int byte = 0;  // PBM's 1 is black
                for (int b = 0; b < 8 && x + b < p.width; ++b)
                    byte |= (p.at(x + b, y) ? 0 : 1) << (7 - b);
                out.put(static_cast<char>(byte));
            }
        return;
    }
    out << p.maxval << "\n";
    for (std::uint32_t v : p.samples) {
        if (p.maxval > 255) out.put(static_cast<char>(v >> 8));
        out.put(static_cast<char>(v & 0xFF));
    }
}

// The file that `tool`, reading netpbm and writing to its standard output,
// makes of `picture` at `path`; true when it ran.
inline bool made_by(const std::string& tool, const Picture& picture, const std::string& path) {
    const std::string pnm = path + (picture.channels == 3 ? ".ppm" : ".pgm");
    write_pnm(pnm, picture);
    return run(tool + " " + quoted(pnm) + " > " + quoted(path) + " 2>/dev/null");
}

// What `tool`, writing netpbm to its standard output, decodes `path` to;
// empty when it failed.
inline Picture decoded_by(const std::string& tool, const std::string& path) {
    const std::string pnm = path + ".decoded.pnm";
    if (!run(tool + " " + quoted(path) + " > " + quoted(pnm) + " 2>/dev/null")) return {};
    return read_pnm(pnm);
}

// The names in a folder, sorted.
inline std::vector<std::string> listing(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// A picture with smooth gradients, sharp edges and some noise (at least one
// step, so that few-bit pictures vary from pixel to pixel), the same for a
// given seed.
inline Picture make_picture(int width, int height, int channels, int maxval, unsigned seed) {
    Picture p{width, height, channels, maxval, {}};
    p.samples.resize(static_cast<std::size_t>(width) * height * channels);
    std::mt19937 random(seed);
    const int spread = std::max(1, maxval / 40);
    std::uniform_int_distribution<int> noise(-spread, spread);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                long v = (static_cast<long>(x) * maxval / std::max(1, width - 1) * (c + 1) +
                          static_cast<long>(y) * maxval / std::max(1, height - 1) * (3 - c)) /
                         4;
                if ((x / 16 + y / 16) % 5 == 0) v = maxval - v;  // hard edges
                v += noise(random);
                p.at(x, y, c) = static_cast<std::uint32_t>(std::clamp<long>(v, 0, maxval));
            }
    return p;
}

// The Image's pixels as a Picture: types 1, 2, 3, 6 and 7.
inline Picture picture_of(const Image* image) {
    Picture p;
    p.width = image->width;
    p.height = image->height;
    p.channels = image_is_colour(image) ? 3 : 1;
    p.maxval = image->type == image_type_binary ? 1 : image_is_16bit(image) ? 65535 : 255;
    p.samples.resize(static_cast<std::size_t>(p.width) * p.height * p.channels);
    for (int y = 0; y < p.height; ++y) {
        const std::uint8_t* line = image->rows[p.height - 1 - y];
        for (int x = 0; x < p.width; ++x) {
            for (int c = 0; c < p.channels; ++c) {
                // Colour samples are stored blue first, 16-bit ones low byte first.
                const int k = p.channels == 3 ? 3 * x + 2 - c : x;
                if (image->type == image_type_binary)
                    p.at(x, y) = image_bit_get(line, x) ? 1 : 0;
                else if (p.maxval == 65535)
                    p.at(x, y, c) = static_cast<std::uint32_t>(line[2 * k] | line[2 * k + 1] << 8);
                else
                    p.at(x, y, c) = line[k];
            }
        }
    }
    return p;
}

// An Image holding a Picture: maxval 1 gives type 1, 255 types 2 and 3, 65535
// types 6 and 7. 0, or the allocation's error code.
inline int image_of(const Picture& p, Image* image, double resolution = 100.0) {
    const bool colour = p.channels == 3;
    const int type = p.maxval == 1    ? image_type_binary
                     : p.maxval > 255 ? (colour ? image_type_colour16 : image_type_gray16)
                                      : (colour ? image_type_colour8 : image_type_gray8);
    if (int err = image_alloc(image, type, p.width, p.height, resolution)) return err;
    for (int y = 0; y < p.height; ++y) {
        std::uint8_t* line = image->rows[p.height - 1 - y];
        std::fill(line, line + image->row_bytes, 0);
        for (int x = 0; x < p.width; ++x) {
            for (int c = 0; c < p.channels; ++c) {
                const std::uint32_t v = p.at(x, y, c);
                const int k = colour ? 3 * x + 2 - c : x;
                if (type == image_type_binary) {
                    if (v) image_bit_set(line, x);
                } else if (p.maxval > 255) {
                    line[2 * k] = static_cast<std::uint8_t>(v);
                    line[2 * k + 1] = static_cast<std::uint8_t>(v >> 8);
                } else {
                    line[k] = static_cast<std::uint8_t>(v);
                }
            }
        }
    }
    return 0;
}

// Gray widened to three channels and every sample scaled to 0..65535, so that
// pictures of different depths that mean the same compare equal. Exact for
// the maxvals 1, 3, 15, 255 and 65535, which all divide 65535.
inline Picture normalised(const Picture& p) {
    Picture n{p.width, p.height, 3, 65535, {}};
    n.samples.resize(static_cast<std::size_t>(p.width) * p.height * 3);
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x)
            for (int c = 0; c < 3; ++c)
                n.at(x, y, c) = p.at(x, y, p.channels == 3 ? c : 0) * 65535u /
                                static_cast<std::uint32_t>(p.maxval);
    return n;
}

// Largest difference of one sample; -1 when the shapes differ.
inline long max_difference(const Picture& a, const Picture& b) {
    if (a.width != b.width || a.height != b.height || a.channels != b.channels ||
        a.maxval != b.maxval || a.samples.size() != b.samples.size())
        return -1;
    long worst = 0;
    for (std::size_t i = 0; i < a.samples.size(); ++i)
        worst = std::max(
            worst, std::labs(static_cast<long>(a.samples[i]) - static_cast<long>(b.samples[i])));
    return worst;
}

inline double mean_difference(const Picture& a, const Picture& b) {
    if (a.samples.size() != b.samples.size() || a.samples.empty()) return 1e9;
    double sum = 0;
    for (std::size_t i = 0; i < a.samples.size(); ++i)
        sum += std::abs(static_cast<double>(a.samples[i]) - static_cast<double>(b.samples[i]));
    return sum / static_cast<double>(a.samples.size());
}

// A small ICC profile that libpng accepts: a display profile of the given
// colour space with one private tag holding random bytes.
inline std::vector<std::uint8_t> make_profile(const char* colour_space, std::size_t tag_size,
                                              unsigned seed) {
    const std::size_t size = 144 + tag_size;
    std::vector<std::uint8_t> p(size, 0);
    auto put32 = [&](std::size_t at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i)
            p[at + i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
    };
    auto put4 = [&](std::size_t at, const char* text) { std::memcpy(&p[at], text, 4); };
    put32(0, static_cast<std::uint32_t>(size));
    put32(8, 0x02100000);
    put4(12, "mntr");
    put4(16, colour_space);
    put4(20, "XYZ ");
    put4(36, "acsp");
    put32(68, 0x0000F6D6);  // the D50 illuminant
    put32(72, 0x00010000);
    put32(76, 0x0000D32D);
    put32(128, 1);  // one tag
    put4(132, "zzzz");
    put32(136, 144);
    put32(140, static_cast<std::uint32_t>(tag_size));
    std::mt19937 random(seed);
    for (std::size_t i = 144; i < size; ++i)
        p[i] = static_cast<std::uint8_t>(random());
    return p;
}

// A progress display that answers Cancel (11) from the given step on, counting
// what it saw.
class CancellingDisplay final : public ProgressDisplay {
public:
    explicit CancellingDisplay(int cancel_at) : cancel_at_(cancel_at) {
        old_ = progress_set_display(this);
    }
    ~CancellingDisplay() override { progress_set_display(old_); }
    void begin(const char* t, std::int64_t, std::int64_t, bool c) override {
        ++begins;
        title = t;
        can_cancel = c;
    }
    int step(std::int64_t) override { return ++steps > cancel_at_ ? 11 : 0; }
    void end() override { ++ends; }
    void wait_cursor(bool) override {}

    int begins = 0;
    int ends = 0;
    int steps = 0;
    std::string title;
    bool can_cancel = false;

private:
    int cancel_at_;
    ProgressDisplay* old_ = nullptr;
};

// How libtiff writes a TIFF of its own.
struct SourceOptions {
    bool big_endian = false;
    int photometric = -1;    // default: min-is-black or RGB
    int extra_channels = 0;  // alpha samples written after the colours
    int orientation = 0;     // 0: no tag
    std::vector<std::uint8_t> profile = {};
};

// Writes an uncompressed TIFF through libtiff's own API, samples packed most
// significant bits first.
inline bool write_with_libtiff(const std::string& path, const Picture& p,
                               const SourceOptions& o = {}) {
    TIFF* tif = TIFFOpen(path.c_str(), o.big_endian ? "wb" : "wl");
    if (!tif) return false;
    const int bits = bits_of(p);
    const int per_pixel = p.channels + o.extra_channels;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, p.width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, p.height);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, per_pixel);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC,
                 o.photometric >= 0 ? o.photometric
                 : p.channels >= 3  ? PHOTOMETRIC_RGB
                                    : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, p.height);
    TIFFSetField(tif, TIFFTAG_XRESOLUTION, 300.0);
    TIFFSetField(tif, TIFFTAG_YRESOLUTION, 300.0);
    TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (o.orientation > 0) TIFFSetField(tif, TIFFTAG_ORIENTATION, o.orientation);
    if (!o.profile.empty())
        TIFFSetField(tif, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(o.profile.size()),
                     o.profile.data());
    if (o.extra_channels > 0) {
        std::vector<std::uint16_t> kinds(static_cast<std::size_t>(o.extra_channels),
                                         EXTRASAMPLE_UNASSALPHA);
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, o.extra_channels, kinds.data());
    }
    bool ok = true;
    for (int y = 0; y < p.height && ok; ++y) {
        std::vector<std::uint8_t> line((static_cast<std::size_t>(p.width) * per_pixel * bits + 7) /
                                       8);
        std::size_t bit = 0;
        for (int x = 0; x < p.width; ++x) {
            for (int c = 0; c < per_pixel; ++c, bit += bits) {
                const std::uint32_t v = c < p.channels ? p.at(x, y, c) : 0xABCDu & p.maxval;
                if (bits == 16) {
                    const std::uint16_t s = static_cast<std::uint16_t>(v);
                    std::memcpy(&line[bit / 8], &s, 2);  // libtiff takes host order
                } else {
                    for (int b = 0; b < bits; ++b)
                        if (v >> (bits - 1 - b) & 1) line[(bit + b) / 8] |= 0x80 >> ((bit + b) % 8);
                }
            }
        }
        ok = TIFFWriteScanline(tif, line.data(), static_cast<std::uint32_t>(y), 0) >= 0;
    }
    TIFFClose(tif);
    return ok;
}

// libtiff's decoding of the first image of a file, or of the SubIFD at
// `subifd` when it is not 0: the samples exactly as stored (no photometric
// interpretation), the first `channels` of them (0: all).
inline bool decode_with_libtiff(const std::string& path, Picture* out, int channels = 0,
                                std::uint64_t subifd = 0) {
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
    const int keep = channels > 0 ? channels : spp;
    *out = Picture{static_cast<int>(w), static_cast<int>(h), keep, (1 << bits) - 1, {}};
    out->samples.assign(static_cast<std::size_t>(w) * h * keep, 0);
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
                if (c < keep) out->at(static_cast<int>(x), static_cast<int>(y), c) = v;
            }
        }
    }
    TIFFClose(tif);
    return ok;
}

// Reads a TIFF file, or TIFF bytes, with the own reader only (no fallback).
inline int read_own_bytes(const std::vector<std::uint8_t>& bytes, Image* image) {
    FILE* f = std::tmpfile();
    if (!f) return -1;
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::rewind(f);
    const int err = TiffReadAt(f, 0, image, false);
    std::fclose(f);
    return err;
}

inline int read_own(const std::string& path, Image* image) {
    return read_own_bytes(read_bytes(path), image);
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
        const auto count = static_cast<std::uint32_t>(values.size() / (type == 5 ? 2 : 1));
        entries_.push_back({tag, type, count, std::move(values)});
        return *this;
    }
    // Replaces the entries of `tag`, or drops them when given no values.
    HandMade& set(int tag, int type, std::vector<std::uint32_t> values) {
        std::erase_if(entries_, [tag](const Entry& e) { return e.tag == tag; });
        if (!values.empty()) this->tag(tag, type, std::move(values));
        return *this;
    }

    std::vector<std::uint8_t> build() const {
        std::vector<std::uint8_t> out;
        auto put = [&](std::uint32_t v, int size) {
            for (int i = 0; i < size; ++i)
                out.push_back(static_cast<std::uint8_t>(v >> 8 * (big_ ? size - 1 - i : i)));
        };
        out.push_back(big_ ? 'M' : 'I');
        out.push_back(big_ ? 'M' : 'I');
        put(42, 2);
        const std::uint32_t ifd = 8 + static_cast<std::uint32_t>(data_.size());
        put(ifd, 4);
        out.insert(out.end(), data_.begin(), data_.end());
        std::uint32_t value_at = ifd + 2 + 12 * static_cast<std::uint32_t>(entries_.size()) + 4;
        std::vector<std::uint8_t> values;
        put(static_cast<std::uint32_t>(entries_.size()), 2);
        for (const Entry& e : entries_) {
            put(static_cast<std::uint32_t>(e.tag), 2);
            put(static_cast<std::uint32_t>(e.type), 2);
            put(e.count, 4);
            const std::size_t before = out.size();
            for (std::uint32_t v : e.values)
                put(v, e.type == 3 ? 2 : e.type == 1 ? 1 : 4);
            std::vector<std::uint8_t> bytes(out.begin() + static_cast<std::ptrdiff_t>(before),
                                            out.end());
            out.resize(before);
            if (bytes.size() <= 4) {
                bytes.resize(4, 0);
                out.insert(out.end(), bytes.begin(), bytes.end());
            } else {
                put(value_at, 4);
                values.insert(values.end(), bytes.begin(), bytes.end());
                value_at += static_cast<std::uint32_t>(bytes.size());
            }
        }
        put(0, 4);
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
    std::vector<std::uint8_t> data_;
    std::vector<Entry> entries_;
};

// The pixels of gray_file: (x * 7 + y * 3) & 0xFF.
inline std::uint32_t gray_file_pixel(int x, int y) {
    return static_cast<std::uint32_t>((x * 7 + y * 3) & 0xFF);
}

// A plain 8-bit gray file in uncompressed strips of `rows_per_strip` lines.
inline HandMade gray_file(int width, int height, int rows_per_strip, bool big = false) {
    HandMade t(big);
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> counts;
    for (int first = 0; first < height; first += rows_per_strip) {
        std::vector<std::uint8_t> strip;
        for (int y = first; y < std::min(height, first + rows_per_strip); ++y)
            for (int x = 0; x < width; ++x)
                strip.push_back(static_cast<std::uint8_t>(gray_file_pixel(x, y)));
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

}  // namespace file_test
