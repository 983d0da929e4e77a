// Comments through real files: a cjpeg picture tagged by exiftool is opened
// and saved as TIFF and JPEG, by the editor's load and save and by
// orvane-batch, and exiftool reads back what was written. Damaged metadata
// gives a shorter list and never a crash.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/comments.h"
#include "core/image.h"
#include "core/window_record.h"
#include "file/file_test_support.h"
#include "file/file_types.h"
#include "file/load_image.h"
#include "file/metadata.h"
#include "file/metadata_edit.h"
#include "file/read_image.h"
#include "file/write_image.h"

namespace {

using file_test::quoted;
using file_test::run;
using file_test::ScratchFolder;

constexpr const char canon_raw[] = "/usr/share/doc/rawtran/IMG_5952.CR2";

std::string batch_program() {
    if (const char* named = std::getenv("ORVANE_BATCH")) return named;
    std::error_code ignored;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ignored);
    return (self.parent_path().parent_path() / "orvane-batch").string();
}

bool have_exiftool() {
    return run("exiftool -ver > /dev/null 2>&1");
}

// exiftool's reading of `tags` as "Group:Tag" -> value, numbers as numbers
// and repeated values joined by '|'.
std::map<std::string, std::string> exif_values(const std::string& path,
                                               const std::vector<std::string>& tags) {
    std::string command = "exiftool -a -G1 -n -s -s -sep '|' -f";
    for (const std::string& t : tags)
        command += " -" + t;
    int status = 0;
    std::istringstream lines(file_test::output_of(command + " " + quoted(path), &status));
    std::map<std::string, std::string> values;
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t close = line.find("] ");
        const std::size_t colon = line.find(": ", close);
        if (line.empty() || line[0] != '[' || close == std::string::npos ||
            colon == std::string::npos)
            continue;
        values[line.substr(1, close - 1) + ":" + line.substr(close + 2, colon - close - 2)] =
            line.substr(colon + 2);
    }
    return values;
}

// Written by the table's writers, and given by exiftool to the test picture.
const std::vector<std::string> written_tags = {"IFD0:Artist",
                                               "IFD0:Copyright",
                                               "IFD0:ImageDescription",
                                               "IFD0:Make",
                                               "IFD0:Model",
                                               "ExifIFD:ExposureTime",
                                               "ExifIFD:FNumber",
                                               "ExifIFD:ISO",
                                               "ExifIFD:Flash",
                                               "ExifIFD:MeteringMode",
                                               "ExifIFD:ExposureProgram",
                                               "ExifIFD:FocalLength",
                                               "ExifIFD:ExposureCompensation",
                                               "ExifIFD:DateTimeOriginal",
                                               "ExifIFD:WhiteBalance",
                                               "ExifIFD:SubjectDistance",
                                               "ExifIFD:SubjectArea",
                                               "ExifIFD:UserComment",
                                               "GPS:GPSVersionID",
                                               "GPS:GPSLatitude",
                                               "GPS:GPSLatitudeRef",
                                               "GPS:GPSLongitude",
                                               "GPS:GPSLongitudeRef",
                                               "GPS:GPSAltitude",
                                               "GPS:GPSAltitudeRef",
                                               "GPS:GPSTimeStamp",
                                               "GPS:GPSDateStamp",
                                               "IPTC:Keywords",
                                               "IPTC:City",
                                               "IPTC:Province-State",
                                               "IPTC:ObjectName",
                                               "IPTC:By-line"};

// A 64 x 48 cjpeg picture with EXIF, GPS and IPTC from exiftool, and, when
// the Canon raw is there, its maker note.
bool make_tagged_jpeg(const std::string& path, bool with_note) {
    if (!file_test::made_by("cjpeg", file_test::make_picture(64, 48, 3, 255, 7), path))
        return false;
    std::string tags =
        " -IFD0:Artist='Ann Example' -IFD0:Copyright='(c) 2026 Ann' -IFD0:ImageDescription='A "
        "test' -IFD0:Make=Canon -IFD0:Model='EOS Test' -ExifIFD:ExposureTime=0.0025 "
        "-ExifIFD:FNumber=22 -ExifIFD:ISO=640 -ExifIFD:Flash=7 -ExifIFD:MeteringMode=255 "
        "-ExifIFD:ExposureProgram=3 -ExifIFD:FocalLength=50 -ExifIFD:ExposureCompensation=-0.7 "
        "-ExifIFD:DateTimeOriginal='2026:01:02 03:04:05' -ExifIFD:WhiteBalance=1 "
        "-ExifIFD:SubjectDistance=3.5 -ExifIFD:SubjectArea='10 20' -ExifIFD:UserComment=hello "
        "-GPS:GPSLatitude=45.5 -GPS:GPSLatitudeRef=N -GPS:GPSLongitude=7.25 "
        "-GPS:GPSLongitudeRef=W -GPS:GPSAltitude=123.5 -GPS:GPSAltitudeRef=1 "
        "-GPS:GPSTimeStamp=10:20:30 -GPS:GPSDateStamp=2026:01:02 -IPTC:Keywords=alpha "
        "-IPTC:Keywords=beta -IPTC:City=Turin -IPTC:Province-State=Piedmont "
        "-IPTC:ObjectName=Bridge -IPTC:By-line=Ann -IPTC:By-line=Bob";
    if (with_note) tags += " -tagsfromfile " + std::string(canon_raw) + " -MakerNotes";
    const std::string edit = "exiftool -q -n -overwrite_original";
    // The note's white balance becomes "Cloudy", which the raw's is not.
    return run(edit + tags + " " + quoted(path)) &&
           (!with_note || run(edit + " -Canon:WhiteBalance=2 " + quoted(path)));
}

// The editor's way: a load into a window record, a save of its comments.
int editor_save(const std::string& in, const std::string& out, int filter) {
    WindowRecord record{};
    image_init(&record.image);
    int err = LoadImageData(in.c_str(), &record, load_no_recent | load_no_progress);
    SaveOptions options;
    options.progress = false;
    options.comments = &record.comments;
    if (err == 0) err = WriteImage(out.c_str(), filter, &record.image, record.profile, options);
    image_free(&record.image);
    return err;
}

int batch_convert(const std::string& in, const std::string& out,
                  const std::string& command = "convert") {
    return std::system((quoted(batch_program()) + " " + command + " " + quoted(in) + " " +
                        quoted(out) + " > /dev/null 2>&1")
                           .c_str());
}

CommentList comments_of(const std::string& path) {
    CommentList list;
    EXPECT_EQ(ReadComments(path.c_str(), FileTypeOfName(path), &list, nullptr), 0) << path;
    return list;
}

TEST(MetadataFiles, ExiftoolSeesTheSameValuesAfterEverySave) {
    if (!have_exiftool()) GTEST_SKIP() << "exiftool is missing";
    const ScratchFolder dir;
    const std::string in = dir.file("in.jpg");
    // Without a maker note exiftool writes big-endian EXIF; ours is little.
    ASSERT_TRUE(make_tagged_jpeg(in, false));
    ASSERT_EQ(exif_values(in, {"ExifByteOrder"})["File:ExifByteOrder"], "MM");
    const std::map<std::string, std::string> expected = exif_values(in, written_tags);
    ASSERT_EQ(expected.size(), written_tags.size());
    for (const auto& [tag, value] : expected)
        ASSERT_NE(value, "-") << "exiftool did not tag " << tag;
    ASSERT_EQ(expected.at("IPTC:Keywords"), "alpha|beta");
    int status = 0;
    const std::string info =
        file_test::output_of(quoted(batch_program()) + " info " + quoted(in), &status);
    EXPECT_NE(info.find("Artist: \"Ann Example\"\n"), std::string::npos) << info;
    EXPECT_NE(info.find("Keywords: \"alpha\"\n    \"beta\"\n"), std::string::npos) << info;
    EXPECT_NE(info.find("Film Speed (ISO): 640\n"), std::string::npos) << info;

    const struct {
        const char* name;
        bool editor;
        const char* command;
    } routes[] = {{"editor.tif", true, ""},
                  {"editor.jpg", true, ""},
                  {"batch.tif", false, "convert"},
                  {"batch.jpg", false, "convert"},
                  {"apply.jpg", false, "apply 'Gamma Adjust'"}};
    for (const auto& r : routes) {
        const std::string out = dir.file(r.name);
        const int filter =
            FileTypeOfName(out) == file_type_jpeg ? save_filter_jpeg : save_filter_tiff;
        ASSERT_EQ(r.editor ? editor_save(in, out, filter) : batch_convert(in, out, r.command), 0)
            << r.name;
        const std::map<std::string, std::string> got = exif_values(out, written_tags);
        for (const std::string& tag : written_tags)
            EXPECT_EQ(got.count(tag) ? got.at(tag) : "(missing)", expected.at(tag))
                << r.name << " " << tag;
        EXPECT_EQ(exif_values(out, {"IFD0:Software"})["IFD0:Software"], "Orvane Pro 64  v6.0.10")
            << r.name;
    }
}

TEST(MetadataFiles, MakerNoteTrailerIsAddedOnceAndStillResolves) {
    if (!std::filesystem::exists(canon_raw) || !have_exiftool()) GTEST_SKIP() << "no Canon raw";
    const ScratchFolder dir;
    const std::string in = dir.file("in.jpg");
    ASSERT_TRUE(make_tagged_jpeg(in, true));
    const std::string once = dir.file("once.tif");
    const std::string twice = dir.file("twice.tif");
    ASSERT_EQ(editor_save(in, once, save_filter_tiff), 0);
    ASSERT_EQ(editor_save(once, twice, save_filter_tiff), 0);
    // A JPEG save drops the note.
    const std::string jpeg = dir.file("out.jpg");
    ASSERT_EQ(editor_save(in, jpeg, save_filter_jpeg), 0);
    EXPECT_EQ(CommentFind(comments_of(jpeg), comment_code_maker_note), nullptr);
    EXPECT_NE(CommentFind(comments_of(jpeg), 34), nullptr);

    std::size_t size = 0;
    for (const std::string& path : {in, once, twice}) {
        const CommentList list = comments_of(path);
        const Comment* note = CommentFind(list, comment_code_maker_note);
        ASSERT_NE(note, nullptr) << path;
        if (size == 0) size = note->bytes.size();
        EXPECT_EQ(note->bytes.size(), size) << path << ": the trailer was added again";
        const std::size_t n = note->bytes.size();
        EXPECT_NE(std::memcmp(note->bytes.data() + n - 40, maker_note_magic, 8), 0) << path;
        MakerNoteFacts facts;
        MakerNoteInfo(note->bytes, "Canon", "Canon EOS 30D", &facts);
        EXPECT_EQ(facts.white_balance, "Cloudy") << path;
        EXPECT_EQ(facts.lens, "18 - 55 mm") << path;  // exiftool's Lens
    }
}

TEST(MetadataFiles, CanonRaw) {
    if (!std::filesystem::exists(canon_raw)) GTEST_SKIP() << "no Canon raw";
    const CommentList list = comments_of(canon_raw);
    const struct {
        std::uint32_t code;
        const char* text;
    } cases[] = {
        {5, "Canon"}, {6, "Canon EOS 30D"}, {34, "1/400"}, {35, "22.000000"}, {162, "640"}};
    for (const auto& c : cases) {
        const Comment* comment = CommentFind(list, c.code);
        EXPECT_EQ(comment ? CommentText(*comment) : "(missing)", c.text) << c.code;
    }
    const Comment* note = CommentFind(list, comment_code_maker_note);
    ASSERT_NE(note, nullptr);
    MakerNoteFacts facts;
    MakerNoteInfo(note->bytes, "Canon", "Canon EOS 30D", &facts);
    EXPECT_EQ(facts.white_balance, "Auto");
    // Under 32 bytes there is no trailer, so nothing to resolve.
    MakerNoteInfo(std::span(note->bytes).last(31), "Canon", "Canon EOS 30D", &facts);
    EXPECT_EQ(facts.white_balance, "");
    EXPECT_EQ(facts.lens, "");
}

// PNG keeps the TIFF, EXIF and GPS fields in its eXIf chunk; IPTC and the
// maker note have no place there.
TEST(MetadataFiles, PngKeepsExifButNoIptc) {
    if (!have_exiftool()) GTEST_SKIP() << "exiftool is missing";
    const ScratchFolder dir;
    const std::string in = dir.file("in.jpg");
    ASSERT_TRUE(make_tagged_jpeg(in, false));
    const std::string out = dir.file("out.png");
    ASSERT_EQ(batch_convert(in, out), 0);
    std::map<std::string, std::string> got =
        exif_values(out, {"IFD0:Artist", "GPS:GPSLatitude", "IFD0:Software", "IPTC:Keywords"});
    EXPECT_EQ(got["IFD0:Artist"], "Ann Example");
    EXPECT_EQ(got["GPS:GPSLatitude"], "45.5");
    EXPECT_EQ(got["IFD0:Software"], "Orvane Pro 64  v6.0.10");
    EXPECT_TRUE(got["IPTC:Keywords"].empty() || got["IPTC:Keywords"] == "-")
        << got["IPTC:Keywords"];
    // And our own reader reads what it wrote.
    EXPECT_EQ(CommentText(*CommentFind(comments_of(out), 43)), "45.5");
}

// Little-endian TIFF stream pieces for damaged files made by hand.
struct Bytes {
    std::vector<std::uint8_t> b;
    Bytes& u16(unsigned v) {
        b.push_back(static_cast<std::uint8_t>(v));
        b.push_back(static_cast<std::uint8_t>(v >> 8));
        return *this;
    }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xFFFF).u16(v >> 16); }
    Bytes& entry(unsigned tag, unsigned type, std::uint32_t count, std::uint32_t value) {
        return u16(tag).u16(type).u32(count).u32(value);
    }
};

TEST(MetadataFiles, DamagedStreamsGiveAShorterList) {
    // IFD0 at 8 with Artist (inline "Ann") and the EXIF pointer; the EXIF IFD
    // at 38 holds ISO and the damaged entry under test.
    const struct {
        const char* what;
        unsigned tag, type;
        std::uint32_t count, value;
        std::uint32_t exif_at;
        std::vector<std::uint32_t> codes;
    } cases[] = {
        {"sound", 37385, 3, 1, 16, 38, {0, 162, 32}},
        {"value past the end", 33434, 5, 1, 5000, 38, {0, 162}},
        {"count of 2^31", 33434, 5, 0x80000000u, 50, 38, {0, 162}},
        {"count of 0", 37385, 3, 0, 16, 38, {0, 162}},
        {"count of 2^32-1 bytes", 37500, 7, 0xFFFFFFFFu, 50, 38, {0, 162}},
        {"ASCII GPS-like latitude in a rational tag", 33437, 2, 4, 0x00313232, 38, {0, 162}},
        {"EXIF IFD past the end", 37385, 3, 1, 16, 900, {0}},
        {"EXIF pointer to IFD0 (a loop)", 37385, 3, 1, 16, 8, {0}},
        {"note of 8 bytes", 37500, 7, 8, 50, 38, {0, 162}},
    };
    for (const auto& c : cases) {
        Bytes s;
        s.b = {'I', 'I', 42, 0};
        s.u32(8).u16(2).entry(315, 2, 4, 0x006E6E41).entry(34665, 4, 1, c.exif_at).u32(0);
        s.u16(2).entry(34855, 3, 1, 640).entry(c.tag, c.type, c.count, c.value).u32(0);
        s.b.resize(70, 0);
        CommentList list;
        (void)tiff_read_comments_memory(s.b, &list, nullptr, "tif");
        std::vector<std::uint32_t> codes;
        for (const Comment& comment : list.items)
            codes.push_back(comment.code);
        EXPECT_EQ(codes, c.codes) << c.what;
    }
}

// Big- or little-endian pieces of hand-made maker notes and raw files.
struct Writer {
    bool big;
    std::vector<std::uint8_t> b;
    Writer& text(const char* t, std::size_t n) {
        b.insert(b.end(), t, t + n);
        return *this;
    }
    Writer& u16(unsigned v) {
        const std::uint8_t hi = static_cast<std::uint8_t>(v >> 8),
                           lo = static_cast<std::uint8_t>(v);
        b.insert(b.end(), big ? std::initializer_list<std::uint8_t>{hi, lo}
                              : std::initializer_list<std::uint8_t>{lo, hi});
        return *this;
    }
    Writer& u32(std::uint32_t v) {
        return big ? u16(v >> 16).u16(v & 0xFFFF) : u16(v & 0xFFFF).u16(v >> 16);
    }
    Writer& entry(unsigned tag, unsigned type, std::uint32_t count, std::uint32_t value) {
        return u16(tag).u16(type).u32(count).u32(value);
    }
    // The trailer a stored note carries: the note stood at `at` of a stream.
    std::vector<std::uint8_t> with_trailer(std::uint32_t at, const char* ext) const {
        std::vector<std::uint8_t> note = b;
        Writer t{false, {}};
        t.u32(1).u32(big ? 0 : 1).u32(at).text(ext, std::strlen(ext));
        t.b.resize(20, 0);
        t.u32(32).text("OrvnNote", 8);
        note.insert(note.end(), t.b.begin(), t.b.end());
        return note;
    }
};

TEST(MetadataFiles, MakerNotesOfTheFourMakers) {
    // Canon: tag 4 index 7 white balance, tag 1 indices 23 to 25 the lens;
    // values at stream offsets, the note at 100.
    Writer canon{false, {}};
    canon.u16(2).entry(1, 3, 26, 130).entry(4, 3, 8, 182).u32(0);
    canon.b.resize(30, 0);
    for (int i = 0; i < 26; ++i)
        canon.u16(i == 23 ? 2000 : i == 24 ? 700 : i == 25 ? 10 : 0);
    for (int i = 0; i < 8; ++i)
        canon.u16(i == 7 ? 8 : 1);
    Writer fuji{false, {}};
    fuji.text("FUJIFILM", 8).u32(12).u16(1).entry(0x1002, 3, 1, 768).u32(0);
    Writer pentax{true, {}};
    pentax.text("AOC\0MM", 6).u16(1).entry(25, 3, 1, 2u << 16).u32(0);
    Writer nikon{true, {}};
    nikon.text("Nikon\0\x02\x10\0\0", 10).text("MM\0\x2A\0\0\0\x08", 8);
    nikon.u16(3).entry(2, 3, 2, 400).entry(5, 2, 8, 50).entry(132, 5, 4, 58).u32(0);
    nikon.text("CLOUDY  ", 8).u32(18).u32(1).u32(55).u32(1).u32(35).u32(10).u32(56).u32(10);
    Writer old_nikon{false, {}};
    old_nikon.text("\0\0\0\0\0\0\0\0", 8).u16(1).entry(7, 3, 1, 6).u32(0);
    const struct {
        const char* what;
        std::vector<std::uint8_t> note;
        const char* make;
        MakerNoteFacts facts;
    } cases[] = {
        {"Canon", canon.with_trailer(100, "cr2"), "", {"70 - 200 mm", "Shade", ""}},
        {"Canon by make", canon.with_trailer(100, "jpg"), "CANON", {"70 - 200 mm", "Shade", ""}},
        {"not Canon", canon.with_trailer(100, "jpg"), "Other", {"", "", ""}},
        {"Fujifilm", fuji.with_trailer(0, "raf"), "", {"", "Daylight-color Fluorescent", ""}},
        {"Pentax", pentax.with_trailer(0, "pef"), "", {"", "Shade", ""}},
        {"Nikon", nikon.with_trailer(0, "nef"), "", {"18 - 55 mm; f/3.5 - f/5.6", "CLOUDY", "400"}},
        {"older Nikon", old_nikon.with_trailer(0, "jpg"), "Nikon", {"", "Speedlight", ""}},
        {"no trailer", canon.b, "Canon", {"", "", ""}},
    };
    for (const auto& c : cases) {
        MakerNoteFacts facts;
        MakerNoteInfo(c.note, c.make, "", &facts);
        EXPECT_EQ(facts.lens, c.facts.lens) << c.what;
        EXPECT_EQ(facts.white_balance, c.facts.white_balance) << c.what;
        EXPECT_EQ(facts.iso, c.facts.iso) << c.what;
    }
}

// The raw scan finds the TIFF stream of a raw file where its kind keeps it.
TEST(MetadataFiles, RawScanFindsTheStream) {
    Writer tiff{false, {}};
    tiff.text("II\x2A\0", 4).u32(8).u16(1).entry(271, 2, 4, 0x00414141).u32(0);
    const struct {
        const char* name;
        std::size_t base;
        bool found;
    } cases[] = {{"a.cr2", 0, true},    {"a.raf", 120, true}, {"b.raf", 160, true},
                 {"c.raf", 140, false}, {"a.mrw", 48, true},  {"b.mrw", 140, true},
                 {"a.arw", 0, true},    {"b.arw", 2, false},  {"a.bay", 0, false}};
    const ScratchFolder dir;
    for (const auto& c : cases) {
        std::vector<std::uint8_t> bytes(c.base, 0);
        bytes.insert(bytes.end(), tiff.b.begin(), tiff.b.end());
        file_test::write_bytes(dir.file(c.name), bytes);
        CommentList list;
        (void)ReadComments(dir.file(c.name).c_str(), FileTypeOfName(c.name), &list, nullptr);
        const Comment* make = CommentFind(list, 5);
        EXPECT_EQ(make ? std::string(make->text()) : "", c.found ? "AAA" : "") << c.name;
    }
}

// Random bytes in, and truncation of, the metadata segments of a tagged JPEG
// and of the TIFF saved from it: every file reads and saves without a crash.
TEST(MetadataFiles, FuzzedSegmentsNeverCrash) {
    if (!have_exiftool()) GTEST_SKIP() << "exiftool is missing";
    const ScratchFolder dir;
    const std::string in = dir.file("in.jpg");
    ASSERT_TRUE(make_tagged_jpeg(in, std::filesystem::exists(canon_raw)));
    const std::string tif = dir.file("in.tif");
    ASSERT_EQ(batch_convert(in, tif), 0);
    const std::vector<std::uint8_t> jpeg = file_test::read_bytes(in);
    const std::vector<std::uint8_t> tiff = file_test::read_bytes(tif);
    // The metadata of the JPEG lies before the first SOS; of the TIFF, before
    // its strips, which this writer puts after all the tags.
    std::size_t jpeg_end = 2;
    while (jpeg_end + 4 < jpeg.size() && jpeg[jpeg_end + 1] != 0xDA)
        jpeg_end += 2 + ((jpeg[jpeg_end + 2] << 8) | jpeg[jpeg_end + 3]);
    const std::size_t tiff_end = std::min<std::size_t>(tiff.size(), 2048);

    std::mt19937 random(20261125);
    int read = 0;
    for (int round = 0; round < 500; ++round) {
        const bool is_jpeg = round % 2 == 0;
        std::vector<std::uint8_t> bytes = is_jpeg ? jpeg : tiff;
        const std::size_t start = is_jpeg ? 20 : 8;
        const std::size_t end = is_jpeg ? jpeg_end : tiff_end;
        const int changes = 1 + static_cast<int>(random() % 8);
        for (int k = 0; k < changes; ++k)
            bytes[start + random() % (end - start)] = static_cast<std::uint8_t>(random());
        if (round % 5 == 4) bytes.resize(start + random() % (end - start));
        const std::string path = dir.file(is_jpeg ? "f.jpg" : "f.tif");
        file_test::write_bytes(path, bytes);
        CommentList list;
        (void)ReadComments(path.c_str(), is_jpeg ? file_type_jpeg : file_type_tiff, &list, nullptr);
        read += list.items.empty() ? 0 : 1;
        std::vector<std::uint8_t> exif;
        (void)jpeg_app1_body(list, &exif);
        const std::vector<std::uint8_t> iptc = iptc_block(list);
        std::uint32_t exif_at = 0;
        std::uint32_t gps_at = 0;
        (void)tiff_comment_ifds(list, 8, &exif_at, &gps_at);
        for (const Comment& c : list.items) {
            (void)CommentText(c);
            (void)comment_lines(c);
        }
        if (const Comment* note = CommentFind(list, comment_code_maker_note)) {
            MakerNoteFacts facts;
            MakerNoteInfo(note->bytes, "Canon", "x", &facts);
        }
        // A few go the whole way through the command line.
        if (round % 50 < 2) {
            int status = 0;
            (void)file_test::output_of(quoted(batch_program()) + " info " + quoted(path), &status);
            EXPECT_NE(status, -1) << "info crashed in round " << round;
            status = std::system((quoted(batch_program()) + " convert " + quoted(path) + " " +
                                  quoted(dir.file("o.tif")) + " > /dev/null 2>&1")
                                     .c_str());
            EXPECT_TRUE(WIFEXITED(status)) << "convert crashed in round " << round;
        }
    }
    EXPECT_GT(read, 100);  // the damage was not all fatal: the readers did run
}

std::string batch_command(const std::string& arguments) {
    return quoted(batch_program()) + " " + arguments + " > /dev/null 2>&1";
}

// The JPEG orientation table, row by row, as exiftool reads what rotate wrote;
// then a TIFF's turns.
TEST(MetadataEdit, RotationTable) {
    if (!have_exiftool()) GTEST_SKIP() << "exiftool is missing";
    const ScratchFolder dir;
    const std::string plain = dir.file("plain.jpg");
    ASSERT_TRUE(file_test::made_by("cjpeg", file_test::make_picture(16, 8, 3, 255, 3), plain));
    const std::vector<std::uint8_t> bytes = file_test::read_bytes(plain);
    const struct {
        int old;  // -1: no tag
        int after[3];
    } rows[] = {{-1, {6, 3, 8}}, {0, {6, 3, 8}}, {1, {6, 3, 8}},
                {3, {8, 0, 6}},  {6, {3, 8, 0}}, {8, {0, 8, 3}}};
    const auto name = [&](int old, int op) {
        return dir.file("r" + std::to_string(old + 1) + std::to_string(op) + ".jpg");
    };
    for (const auto& row : rows) {
        std::string files;
        for (int op = 1; op <= 3; ++op) {
            file_test::write_bytes(name(row.old, op), bytes);
            files += " " + quoted(name(row.old, op));
        }
        if (row.old >= 0) {
            ASSERT_TRUE(run("exiftool -q -n -overwrite_original -Orientation=" +
                            std::to_string(row.old) + files));
        }
        for (int op = 1; op <= 3; ++op)
            ASSERT_EQ(std::system(batch_command("rotate " + quoted(name(row.old, op)) + " " +
                                                std::to_string(90 * op))
                                      .c_str()),
                      0);
    }
    int status = 0;
    std::istringstream lines(file_test::output_of(
        "exiftool -q -n -T -FileName -Orientation " + quoted(dir.path()) + "/r*.jpg", &status));
    std::map<std::string, std::string> got;
    for (std::string file, value; lines >> file >> value;)
        got[file] = value;
    for (const auto& row : rows)
        for (int op = 1; op <= 3; ++op)
            EXPECT_EQ(got[std::filesystem::path(name(row.old, op)).filename().string()],
                      std::to_string(row.after[op - 1]))
                << "old " << row.old << " operation " << op;
    EXPECT_EQ(jpeg_orientation_after(8, 2), 8);

    // A TIFF turns by composing rotation codes in its orientation tag.
    const std::string tif = dir.file("t.tif");
    ASSERT_EQ(batch_convert(plain, tif), 0);
    const std::pair<int, const char*> turns[] = {{90, "6"}, {180, "8"}, {90, "1"}};
    for (const auto& [degrees, expected] : turns) {
        ASSERT_EQ(
            std::system(
                batch_command("rotate " + quoted(tif) + " " + std::to_string(degrees)).c_str()),
            0);
        EXPECT_EQ(exif_values(tif, {"IFD0:Orientation"})["IFD0:Orientation"], expected) << degrees;
    }
}

// One field rewritten in each format; every other value stays.
TEST(MetadataEdit, CommentsRewriteOneFieldKeepingTheRest) {
    if (!have_exiftool()) GTEST_SKIP() << "exiftool is missing";
    const ScratchFolder dir;
    const std::string in = dir.file("in.jpg");
    ASSERT_TRUE(make_tagged_jpeg(in, false));
    const std::string tif = dir.file("in.tif");
    ASSERT_EQ(batch_convert(in, tif), 0);
    const std::string png = dir.file("in.png");
    ASSERT_EQ(batch_convert(in, png), 0);
    for (const std::string& path : {in, tif}) {
        std::map<std::string, std::string> expected = exif_values(path, written_tags);
        ASSERT_EQ(std::system(batch_command("comments " + quoted(path) +
                                            " --artist 'Bo Smith' --description 'New one'")
                                  .c_str()),
                  0);
        expected["IFD0:Artist"] = "Bo Smith";
        expected["IFD0:ImageDescription"] = "New one";
        EXPECT_EQ(exif_values(path, written_tags), expected) << path;
        // The same values again leave the file as it is.
        const std::vector<std::uint8_t> before = file_test::read_bytes(path);
        ASSERT_EQ(
            RewriteFileComments(path.c_str(), FileTypeOfName(path), "Bo Smith", nullptr, "New one"),
            0);
        EXPECT_EQ(file_test::read_bytes(path), before) << path;
    }
    // Exiv2 moves a PNG's EXIF into a zTXt raw profile, which we read too.
    ASSERT_EQ(RewriteFileComments(png.c_str(), file_type_png, nullptr, "(c) Bo", nullptr), 0);
    EXPECT_EQ(exif_values(png, {"Copyright"})["IFD0:Copyright"], "(c) Bo");
    const CommentList kept = comments_of(png);
    ASSERT_NE(CommentFind(kept, 1), nullptr);
    EXPECT_EQ(CommentFind(kept, 1)->text(), "(c) Bo");
    ASSERT_NE(CommentFind(kept, 0), nullptr);
    EXPECT_EQ(CommentFind(kept, 0)->text(), "Ann Example");
}

// A full disk, a write-protected file, a damaged file and a GIF: an error,
// and the file byte for byte as it was.
TEST(MetadataEdit, FailuresLeaveTheFileWhole) {
    if (!have_exiftool()) GTEST_SKIP() << "exiftool is missing";
    const ScratchFolder dir;
    const ScratchFolder scripts;
    const std::string big = dir.file("big.jpg");
    ASSERT_TRUE(file_test::made_by("cjpeg -quality 100",
                                   file_test::make_picture(300, 200, 3, 255, 9), big));
    ASSERT_TRUE(run("exiftool -q -overwrite_original -Artist=Old " + quoted(big)));
    ASSERT_GT(file_test::read_bytes(big).size(), 41000u);  // above the limit of 40 blocks
    const std::string damaged = dir.file("damaged.jpg");
    std::vector<std::uint8_t> cut = file_test::read_bytes(big);
    cut.resize(30);
    file_test::write_bytes(damaged, cut);
    const std::string gif = dir.file("x.gif");
    file_test::write_bytes(gif, {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0, ';'});
    const std::string locked = dir.file("locked.jpg");
    std::filesystem::copy_file(big, locked);
    std::filesystem::permissions(
        locked, std::filesystem::perms::owner_read | std::filesystem::perms::group_read);

    const struct {
        const char* what;
        std::string file;
        std::string prefix;  // run before the program, in the same shell
        std::string arguments;
        std::string message;
    } cases[] = {
        {"full disk", big, "trap '' XFSZ; ulimit -f 40; ", "comments F --artist New", "disk full"},
        {"full disk, rotate", big, "trap '' XFSZ; ulimit -f 40; ", "rotate F 90", "disk full"},
        {"write-protected", locked, "", "comments F --artist New", "read-only"},
        {"damaged", damaged, "", "comments F --artist New", "comments"},
        {"GIF", gif, "", "comments F --artist New", "only supported for Tiff, Jpeg, Gif and Png"},
    };
    const std::vector<std::string> files = file_test::listing(dir.path());
    for (const auto& c : cases) {
        const std::vector<std::uint8_t> before = file_test::read_bytes(c.file);
        std::string arguments = c.arguments;
        arguments.replace(arguments.find('F'), 1, quoted(c.file));
        const std::string script = scripts.file("run.sh");
        const std::string line = c.prefix + quoted(batch_program()) + " " + arguments + "\n";
        file_test::write_bytes(script, {line.begin(), line.end()});
        int status = 0;
        const std::string out = file_test::output_of("bash " + quoted(script), &status);
        EXPECT_GT(status, 0) << c.what;
        EXPECT_NE(out.find(c.message), std::string::npos) << c.what << ": " << out;
        EXPECT_EQ(file_test::read_bytes(c.file), before) << c.what;
        EXPECT_EQ(file_test::listing(dir.path()), files) << c.what << ": a sibling was left";
    }
}

}  // namespace
