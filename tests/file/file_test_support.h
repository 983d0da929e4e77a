// Helpers of the file and shell tests: scratch folders, the command line
// tools of netpbm and libjpeg-turbo as independent readers and writers, and
// netpbm files as the neutral form in which pictures are compared. Free of
// any test framework, so that GoogleTest and Qt Test files both use it.
#pragma once

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "core/image.h"
#include "core/progress.h"

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
// to `maxval`. Bilevel pictures have maxval 1 with white as 1.
struct Picture {
    int width = 0;
    int height = 0;
    int channels = 1;  // 1 or 3
    int maxval = 255;
    std::vector<std::uint32_t> samples;

    std::uint32_t& at(int x, int y, int c) {
        return samples[(static_cast<std::size_t>(y) * width + x) * channels + c];
    }
    std::uint32_t at(int x, int y, int c) const {
        return samples[(static_cast<std::size_t>(y) * width + x) * channels + c];
    }
};

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

inline void write_pnm(const std::string& path, const Picture& p) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << (p.channels == 3 ? "P6" : "P5") << "\n"
        << p.width << " " << p.height << "\n"
        << p.maxval << "\n";
    for (std::uint32_t v : p.samples) {
        if (p.maxval > 255) out.put(static_cast<char>(v >> 8));
        out.put(static_cast<char>(v & 0xFF));
    }
}

// A picture with smooth gradients, sharp edges and some noise, the same for a
// given seed.
inline Picture make_picture(int width, int height, int channels, int maxval, unsigned seed) {
    Picture p;
    p.width = width;
    p.height = height;
    p.channels = channels;
    p.maxval = maxval;
    p.samples.resize(static_cast<std::size_t>(width) * height * channels);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> noise(-maxval / 40, maxval / 40);
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
            switch (image->type) {
                case image_type_binary:
                    p.at(x, y, 0) = image_bit_get(line, x) ? 1 : 0;
                    break;
                case image_type_gray8:
                    p.at(x, y, 0) = line[x];
                    break;
                case image_type_colour8:
                    for (int c = 0; c < 3; ++c)
                        p.at(x, y, c) = line[3 * x + 2 - c];
                    break;
                case image_type_gray16:
                    p.at(x, y, 0) = static_cast<std::uint32_t>(line[2 * x] | line[2 * x + 1] << 8);
                    break;
                case image_type_colour16:
                    for (int c = 0; c < 3; ++c) {
                        const std::uint8_t* s = line + 6 * x + 2 * (2 - c);
                        p.at(x, y, c) = static_cast<std::uint32_t>(s[0] | s[1] << 8);
                    }
                    break;
                default:
                    break;
            }
        }
    }
    return p;
}

// An Image holding a Picture: maxval 1 gives type 1, 255 types 2 and 3, 65535
// types 6 and 7.
// 0, or the allocation's error code.
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
            switch (type) {
                case image_type_binary:
                    if (p.at(x, y, 0)) image_bit_set(line, x);
                    break;
                case image_type_gray8:
                    line[x] = static_cast<std::uint8_t>(p.at(x, y, 0));
                    break;
                case image_type_colour8:
                    for (int c = 0; c < 3; ++c)
                        line[3 * x + 2 - c] = static_cast<std::uint8_t>(p.at(x, y, c));
                    break;
                case image_type_gray16:
                    line[2 * x] = static_cast<std::uint8_t>(p.at(x, y, 0));
                    line[2 * x + 1] = static_cast<std::uint8_t>(p.at(x, y, 0) >> 8);
                    break;
                default:
                    for (int c = 0; c < 3; ++c) {
                        std::uint8_t* s = line + 6 * x + 2 * (2 - c);
                        s[0] = static_cast<std::uint8_t>(p.at(x, y, c));
                        s[1] = static_cast<std::uint8_t>(p.at(x, y, c) >> 8);
                    }
                    break;
            }
        }
    }
    return 0;
}

// Gray widened to three channels and every sample scaled to 0..65535, so that
// pictures of different depths that mean the same compare equal. Exact for
// the maxvals 1, 3, 15, 255 and 65535, which all divide 65535.
inline Picture normalised(const Picture& p) {
    Picture n;
    n.width = p.width;
    n.height = p.height;
    n.channels = 3;
    n.maxval = 65535;
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
    auto put4 = [&](std::size_t at, const char* text) {
        for (int i = 0; i < 4; ++i)
            p[at + i] = static_cast<std::uint8_t>(text[i]);
    };
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

// A progress display that answers Cancel from the given step on, counting the
// steps it saw.
class CancellingDisplay final : public ProgressDisplay {
public:
    explicit CancellingDisplay(int cancel_at) : cancel_at_(cancel_at) {
        old_ = progress_set_display(this);
    }
    ~CancellingDisplay() override { progress_set_display(old_); }
    void begin(const char*, std::int64_t, std::int64_t, bool) override { ++begins; }
    int step(std::int64_t) override { return ++steps > cancel_at_ ? 11 : 0; }
    void end() override { ++ends; }
    void wait_cursor(bool) override {}

    int begins = 0;
    int ends = 0;
    int steps = 0;

private:
    int cancel_at_;
    ProgressDisplay* old_ = nullptr;
};

}  // namespace file_test
