// Hostile input: thousands of corrupted variants of valid files, made by a
// seeded mutation loop so that every run is the same. The reader must answer
// each with 0 or one of its error codes, leave no Image behind on failure, and
// never touch memory it does not own (the sanitized build checks that).
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_test_support.h"
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

TEST(TiffFuzz, CorruptedFilesGiveErrorCodesNeverCrashes) {
    file_test::ScratchFolder dir;
    const std::vector<Bytes> seeds = seed_files(dir);
    std::mt19937 rng(20240611);
    int read = 0;
    int failed = 0;
    int skipped = 0;
    for (int round = 0; round < 2500; ++round) {
        for (const Bytes& seed : seeds) {
            Bytes variant = mutate(seed, rng);
            if (asks_for_too_much(variant)) {
                ++skipped;
                continue;
            }
            std::FILE* f = fmemopen(variant.data(), variant.size(), "rb");
            if (!f) {
                // fmemopen refuses empty buffers.
                ASSERT_TRUE(variant.empty());
                continue;
            }
            ImageHolder image;
            const int err = TiffReadAt(f, 0, image.get(), false);
            std::fclose(f);
            ++read;
            if (err == 0) {
                EXPECT_GT(image->width, 0);
                EXPECT_GT(image->height, 0);
            } else {
                ++failed;
                ASSERT_TRUE(reader_errors.count(err)) << "error " << err;
                ASSERT_EQ(image->type, 0);
            }
        }
    }
    // The mutations reach both outcomes in numbers.
    EXPECT_GT(read, 5000);
    EXPECT_GT(failed, read / 10);
    EXPECT_GT(read - failed, read / 10);
    EXPECT_LT(skipped, read / 10);
}

TEST(TiffFuzz, EveryTruncationIsAnError) {
    // Our files end with their last strip, so any cut loses data.
    for (int compression : {0, 2}) {
        const Bytes whole = written_by_us(7, compression, true);
        for (std::size_t size = 1; size < whole.size(); ++size) {
            Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            std::FILE* f = fmemopen(cut.data(), cut.size(), "rb");
            ImageHolder image;
            const int err = TiffReadAt(f, 0, image.get(), false);
            std::fclose(f);
            ASSERT_EQ(err, 56) << size;
        }
    }
}

TEST(TiffFuzz, RandomLzwStreams) {
    std::mt19937 rng(77);
    std::vector<std::uint8_t> out(4096);
    int errors = 0;
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::uint8_t> in(1 + rng() % 300);
        for (auto& b : in)
            b = static_cast<std::uint8_t>(rng() % (i % 2 ? 256 : 8));  // also few-bit noise
        in[0] = 0x80;  // the clear code starts every stream
        if (in.size() > 1) in[1] &= 0x7F;
        const std::size_t room = rng() % out.size();
        const int err = tiff_lzw_decode(in.data(), in.size(), out.data(), room);
        ASSERT_TRUE(err == 0 || err == 156);
        errors += err != 0;
    }
    EXPECT_GT(errors, 1000);
}

TEST(TiffFuzz, MemorySourceReadsStayInsideTheBlock) {
    std::mt19937 rng(5);
    const Bytes seed = written_by_us(3, 0, false);
    for (int i = 0; i < 3000; ++i) {
        const Bytes block = mutate(seed, rng);
        TiffSource s;
        TiffOpenMemory(&s, block.data(), block.size(), 0, block.size() > 0 && block[0] == 'M');
        const std::uint32_t ifd = i % 3 == 0 ? 8u : static_cast<std::uint32_t>(rng());
        const int tag = std::vector<int>{256, 258, 273, 279, 282, 305}[rng() % 6];
        TiffEntry e;
        bool found = false;
        const int err = TiffFindTag(s, ifd, tag, &e, &found);
        ASSERT_TRUE(err == 0 || err == 56);
        if (err != 0 || !found) continue;
        int v = 0;
        double d = 0;
        std::string text;
        const std::uint32_t index = rng() % 8;
        ASSERT_TRUE(TiffReadByteOrShortAt(s, e, index, &v) % 56 == 0);
        ASSERT_TRUE(TiffReadRationalAt(s, e, index, &d) % 56 == 0);
        ASSERT_TRUE(TiffFindString(s, ifd, tag, &text, &found) % 56 == 0);
    }
}

}  // namespace
