// Hostile input for every reader: thousands of damaged variants of valid
// input, made by seeded loops so that every run is the same. Each must be
// answered with 0 or the reader's error codes, with no Image left behind on
// failure, never touching memory the reader does not own (the sanitized build
// checks that).
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_test_support.h"
#include "file/jpeg_io.h"
#include "file/png_io.h"
#include "file/tiff_lzw.h"
#include "file/tiff_reader.h"
#include "file/tiff_source.h"
#include "file/tiff_writer.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

const std::set<int> reader_errors = {1,   56,  102, 141, 142, 143, 144, 145, 146, 147,
                                     148, 149, 150, 151, 152, 153, 154, 155, 156};

Bytes written_by_us(int type, int compression, bool thumbnail) {
    const int channels = type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
    const int maxval = type == image_type_binary ? 1 : type >= image_type_gray16 ? 65535 : 255;
    ImageHolder image;
    EXPECT_EQ(
        file_test::image_of(file_test::make_picture(37, 23, channels, maxval, 5), image.get()), 0);
    std::FILE* f = std::tmpfile();
    EXPECT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, compression, thumbnail, false), 0);
    Bytes bytes(static_cast<std::size_t>(std::ftell(f)));
    std::rewind(f);
    EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), f), bytes.size());
    std::fclose(f);
    return bytes;
}

std::vector<Bytes> seed_files(const file_test::ScratchFolder& dir) {
    std::vector<Bytes> seeds;
    for (int type : {1, 2, 3, 6, 7})
        for (int compression : {0, 1, 2})
            seeds.push_back(written_by_us(type, compression, type == 3));
    // Files from libtiff: big-endian, predictors, several strips, 4-bit, min-is-white.
    struct Source {
        int channels;
        int maxval;
        int photometric;
        const char* options;
    };
    for (const Source& s :
         {Source{3, 255, -1, "-B -r 5 -c lzw:2"}, Source{1, 65535, -1, "-B -r 4 -c zip:2"},
          Source{1, 15, -1, "-r 3 -c lzw"}, Source{1, 1, 0, "-B -r 6 -c none"},
          Source{3, 65535, -1, "-L -r 2 -c none"}}) {
        const std::string source = dir.file("source.tif");
        const std::string variant = dir.file("variant.tif");
        EXPECT_TRUE(file_test::write_with_libtiff(
            source, file_test::make_picture(29, 19, s.channels, s.maxval, 3),
            {.photometric = s.photometric}));
        EXPECT_TRUE(
            file_test::run(std::string("tiffcp ") + s.options + " " + source + " " + variant));
        seeds.push_back(file_test::read_bytes(variant));
    }
    seeds.push_back(file_test::gray_file(9, 13, 4, true).build());
    const file_test::Picture colour = file_test::make_picture(120, 80, 3, 255, 11);
    EXPECT_TRUE(file_test::made_by("pnmtopng -force", colour, dir.file("p.png")));
    EXPECT_TRUE(file_test::made_by("cjpeg -progressive", colour, dir.file("p.jpg")));
    return seeds;
}

// The largest picture the IFD asks for, so that variants claiming gigabytes
// are not allocated: that would only test the machine's memory.
bool asks_for_too_much(const Bytes& bytes) {
    TiffSource source;
    TiffOpenMemory(&source, bytes.data(), bytes.size(), 0, false);
    std::uint32_t ifd = 0;
    std::vector<TiffEntry> entries;
    if (tiff_read_header(&source, &ifd) != 0 || tiff_read_ifd(source, ifd, &entries) != 0)
        return false;
    std::int64_t width = 0;
    std::int64_t height = 0;
    for (const TiffEntry& e : entries) {
        if (e.tag == 256) width = e.value;
        if (e.tag == 257) height = e.value;
    }
    return width * height > (std::int64_t{1} << 22);
}

Bytes mutate(const Bytes& seed, std::mt19937& rng) {
    Bytes b = seed;
    auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
    static const std::uint32_t interesting[] = {
        0,      1,       2,          3,           4,           8,           0xFF, 0x100,
        0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000u, 0xFFFFFFFFu, 0xFFFFFFF0u, 4097, 12};
    const int rounds = 1 + static_cast<int>(rng() % 3);
    for (int r = 0; r < rounds && !b.empty(); ++r) {
        switch (rng() % 5) {
            case 0:  // random bytes anywhere
                for (int i = 0, n = 1 + static_cast<int>(rng() % 4); i < n; ++i)
                    b[pick(b.size())] = static_cast<std::uint8_t>(rng());
                break;
            case 1: {  // an interesting number in the header or an IFD field
                const std::size_t at = pick(b.size());
                const std::uint32_t v = interesting[pick(std::size(interesting))];
                for (std::size_t i = 0; i < 4 && at + i < b.size(); ++i)
                    b[at + i] = static_cast<std::uint8_t>(v >> (8 * (rng() % 2 ? i : 3 - i)));
                break;
            }
            case 2:  // cut short
                b.resize(pick(b.size()));
                break;
            case 3: {  // an entry of IFD0 gets another type or count
                if (b.size() < 8) break;
                const bool big = b[0] == 'M';
                auto byte = [&](int i) { return std::uint64_t{b[static_cast<std::size_t>(i)]}; };
                const std::uint64_t ifd =
                    big ? (byte(4) << 24 | byte(5) << 16 | byte(6) << 8 | byte(7))
                        : (byte(7) << 24 | byte(6) << 16 | byte(5) << 8 | byte(4));
                if (ifd + 2 >= b.size()) break;
                const unsigned n = big ? (b[ifd] << 8 | b[ifd + 1]) : (b[ifd + 1] << 8 | b[ifd]);
                if (n == 0) break;
                const std::size_t entry = ifd + 2 + 12 * pick(n);
                const std::size_t field = entry + (rng() % 2 ? 2 : 4 + 4 * (rng() % 2));
                const std::uint32_t v =
                    field == entry + 2 ? rng() % 16 : interesting[pick(std::size(interesting))];
                for (std::size_t i = 0; i < 4 && field + i < b.size(); ++i) {
                    if (field == entry + 2 && i >= 2) break;
                    const std::size_t width = field == entry + 2 ? 2 : 4;
                    b[field + i] = static_cast<std::uint8_t>(v >> (8 * (big ? width - 1 - i : i)));
                }
                break;
            }
            default:  // a run of bytes in the data area smashed
                if (b.size() > 64) {
                    const std::size_t at = 8 + pick(b.size() - 64);
                    const std::uint8_t v = static_cast<std::uint8_t>(rng());
                    std::fill(b.begin() + static_cast<std::ptrdiff_t>(at),
                              b.begin() + static_cast<std::ptrdiff_t>(at + 1 + pick(48)), v);
                }
                break;
        }
    }
    return b;
}

// Damaged input: cut short, it must fail; otherwise it may also read.
struct Damage {
    Bytes bytes;
    bool must_fail;
};

// The first rounds cut to 0, 1, 2... bytes, then anywhere or in the last 32
// bytes; every other round changes `flips` bytes from `keep` on instead.
Damage cut_or_flip(const Bytes& whole, std::size_t keep, int flips, int round, std::mt19937& rng) {
    Bytes b = whole;
    if (round < 16 || round % 2) {
        b.resize(round < 16 ? static_cast<std::size_t>(round / 2)
                 : round % 4 == 1 ? b.size() - 1 - rng() % 32
                                  : rng() % b.size());
        return {b, true};
    }
    for (int i = 0; i < flips; ++i)
        b[keep + rng() % (b.size() - keep - 2)] = static_cast<std::uint8_t>(rng());
    return {b, false};
}

// The own TIFF reader on bytes in memory (fmemopen refuses empty ones).
int read_tiff(Bytes b, Image* image) {
    std::FILE* f = b.empty() ? nullptr : fmemopen(b.data(), b.size(), "rb");
    if (!f) return file_test::read_own_bytes(b, image);
    const int err = TiffReadAt(f, 0, image, false);
    std::fclose(f);
    return err;
}

TEST(Fuzz, DamagedInputGivesTheReadersErrorsNeverCrashes) {
    file_test::ScratchFolder dir;
    const std::string file = dir.file("damaged");
    const std::vector<Bytes> seeds = seed_files(dir);
    const Bytes png = file_test::read_bytes(dir.file("p.png"));
    const Bytes jpg = file_test::read_bytes(dir.file("p.jpg"));
    auto png_read = [&](const Bytes& b, Image* image) {
        file_test::write_bytes(file, b);
        return read_png_file(file.c_str(), image, nullptr, true, 100.0);
    };
    auto jpeg_read = [&](const Bytes& b, Image* image) {
        file_test::write_bytes(file, b);
        return ReadJPEGAndProfile(file.c_str(), image, nullptr, true, 100.0);
    };
    const Bytes tiff[] = {written_by_us(7, 0, true), written_by_us(7, 2, true)};
    struct Row {
        const char* name;
        std::set<int> errors;
        int rounds;
        std::function<Damage(int, std::mt19937&)> damage;
        std::function<int(const Bytes&, std::mt19937&, Image*)> read;
    };
    const Row rows[] = {
        // Our files end with their last strip, so any cut loses data.
        {"tiff cut", {56}, static_cast<int>(tiff[0].size() + tiff[1].size()),
         [&](int i, std::mt19937&) {
             const Bytes& t = tiff[i < static_cast<int>(tiff[0].size()) ? 0 : 1];
             return Damage{Bytes(t.begin(), t.begin() + i % static_cast<int>(tiff[0].size())), true};
         },
         [](const Bytes& b, std::mt19937&, Image* image) { return read_tiff(b, image); }},
        {"tiff mutated", reader_errors, static_cast<int>(2500 * seeds.size()),
         [&](int i, std::mt19937& rng) {
             Bytes b;
             do {
                 b = mutate(seeds[static_cast<std::size_t>(i) % seeds.size()], rng);
             } while (asks_for_too_much(b));
             return Damage{b, false};
         },
         [](const Bytes& b, std::mt19937&, Image* image) { return read_tiff(b, image); }},
        {"lzw", {156}, 20000,
         [](int i, std::mt19937& rng) {
             Bytes in(1 + rng() % 300);
             for (auto& b : in)
                 b = static_cast<std::uint8_t>(rng() % (i % 2 ? 256 : 8));  // also few-bit noise
             in[0] = 0x80;  // the clear code starts every stream
             if (in.size() > 1) in[1] &= 0x7F;
             return Damage{in, false};
         },
         [](const Bytes& in, std::mt19937& rng, Image*) {
             Bytes out(4096);
             return tiff_lzw_decode(in.data(), in.size(), out.data(), rng() % out.size());
         }},
        // CRCs and zlib catch changed bytes, as the entropy decoder does in JPEG.
        {"png", {48}, 60, [&](int i, std::mt19937& rng) { return cut_or_flip(png, 8, 5, i, rng); },
         [&](const Bytes& b, std::mt19937&, Image* image) { return png_read(b, image); }},
        {"jpeg", {22}, 60,
         [&](int i, std::mt19937& rng) { return cut_or_flip(jpg, 1000, 30, i, rng); },
         [&](const Bytes& b, std::mt19937&, Image* image) { return jpeg_read(b, image); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::mt19937 rng(20240611);
        int failed = 0;
        for (int i = 0; i < row.rounds; ++i) {
            const Damage damage = row.damage(i, rng);
            ImageHolder image;
            const int err = row.read(damage.bytes, rng, image.get());
            failed += err != 0;
            ASSERT_TRUE(err == 0 ? !damage.must_fail
                                 : row.errors.count(err) != 0 && image->type == image_type_empty)
                << "round " << i << " error " << err;
        }
        EXPECT_GT(failed, row.rounds / 20);
    }
    // Foreign and missing files.
    ImageHolder image;
    std::mt19937 random(12);
    Bytes noise(4000);
    for (auto& b : noise)
        b = static_cast<std::uint8_t>(random());
    noise[0] = 0xFF;
    noise[1] = 0xD8;
    EXPECT_EQ(jpeg_read(noise, image.get()), 22);
    EXPECT_EQ(jpeg_read({'P', '5', '\n', '1', ' ', '1', '\n', '2', '5', '5', '\n', 0}, image.get()), 22);
    EXPECT_EQ(png_read({'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0}, image.get()), 48);
    std::filesystem::remove(file);
    EXPECT_EQ(read_png_file(file.c_str(), image.get(), nullptr, true, 100.0), 129);
    EXPECT_EQ(ReadJPEGAndProfile(file.c_str(), image.get(), nullptr, true, 100.0), 129);
}

}  // namespace
