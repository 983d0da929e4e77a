// Add Noise against a direct re-statement of its formula: pixel by pixel over
// the picture from a known generator state, with its own 64-bit generator,
// its own rounding of products and its own clamping. Whole images are
// compared, for every input type, in preview and at apply.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <QTemporaryDir>

#include "batch_runner.h"
#include "core/errors.h"
#include "core/random.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"
#include "transform/registry.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// The oracle

struct Generator {
    std::int64_t state;
    int next() {
        state = state * 41358 % 2147483647;
        return static_cast<int>(state);
    }
};

// A signed draw of `range` levels; Gaussian (method 1) is the mean of six.
int raw(Generator& g, int method, int range) {
    int n = 0;
    for (int k = 0; k < (method == 1 ? 6 : 1); ++k) {
        const int r = g.next();
        n += (r / (2 * range)) % 2 == 1 ? -(r % range) : r % range;
    }
    return method == 1 ? n / 6 : n;
}

int noise8(Generator& g, int method, int s) {
    const int n = raw(g, method, 256);
    const int magnitude = (std::abs(n) * s + 127) / 255;
    return n < 0 ? -magnitude : magnitude;
}

int noise16(Generator& g, int method, int s) {
    return static_cast<int>(static_cast<std::int64_t>(raw(g, method, 65536)) * s / 255);
}

int limit(int v, int top) {
    return std::min(std::max(v, 0), top);
}

int reduce16(int v) {
    return (v * 255 + 32767) / 65535;
}

// Local strength under a mask value, as a + (b - a) * m / 255 rounded.
int blend_strength(int a, int b, int m) {
    const int step = (std::abs(b - a) * m + 127) / 255;
    return b >= a ? a + step : a - step;
}

// A picture as plain numbers, line 0 first, samples in memory order.
struct Samples {
    int type = 0;
    int width = 0;
    int height = 0;
    int per_pixel = 1;
    std::vector<int> values;
    int& at(int x, int y, int c) {
        return values[(static_cast<std::size_t>(y) * width + x) * per_pixel + c];
    }
};

Samples samples_of(const Image& image) {
    Samples s{image.type, image.width, image.height, image_is_colour(&image) ? 3 : 1, {}};
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            for (int c = 0; c < s.per_pixel; ++c) {
                if (image.type == image_type_binary) {
                    s.values.push_back(image_bit_get(image.rows[y], x) ? 255 : 0);
                    continue;
                }
                const std::uint8_t* p = image_pixel_pointer(&image, x, y);
                s.values.push_back(image_is_16bit(&image) ? p[2 * c] | (p[2 * c + 1] << 8) : p[c]);
            }
    return s;
}

struct Settings {
    int channels = 0;
    int method = 0;
    int amount_low = 1024;
    int amount_high = -1;
    const Image* mask = nullptr;
};

// The expected output of a whole picture at zoom 1.
Samples expected_output(const Image& input, const Settings& set, bool apply, std::int32_t state) {
    Generator g{state};
    Samples in = samples_of(input);
    Samples out = in;
    const bool wide = image_is_16bit(&input);
    const bool colour = image_is_colour(&input);
    if (!apply && wide) out.type = colour ? image_type_colour8 : image_type_gray8;
    if (input.type == image_type_binary) out.type = image_type_gray8;
    const int a = (set.amount_low * 255 + 512) / 1024;
    const int b = set.amount_high < 0 ? -1 : (set.amount_high * 255 + 512) / 1024;
    for (int y = 0; y < in.height; ++y)
        for (int x = 0; x < in.width; ++x) {
            int s = a;
            if (a == 255 && (b == -1 || b == 255))
                s = 255;
            else if (b >= 0)
                s = blend_strength(a, b, image_pixel_pointer(set.mask, x, y)[0]);
            // 16-bit noise at apply, and for gray 16 also in preview; colour 16
            // previews as 8-bit data with 8-bit noise.
            const bool noise_wide = wide && (apply || !colour);
            const int top = noise_wide ? 65535 : 255;
            auto noise = [&] {
                return noise_wide ? noise16(g, set.method, s) : noise8(g, set.method, s);
            };
            auto load = [&](int c) {
                const int v = in.at(x, y, c);
                return wide && !noise_wide ? reduce16(v) : v;
            };
            auto store = [&](int c, int v) {
                out.at(x, y, c) = wide && !apply && noise_wide ? reduce16(v) : v;
            };
            if (!colour) {
                store(0, limit(load(0) + noise(), top));
            } else if (set.channels == 0) {
                for (int c = 0; c < 3; ++c)
                    store(c, limit(load(c) + noise(), top));
            } else {
                const int v = std::max({load(0), load(1), load(2)});
                const int v_new = limit(v + noise(), top);
                for (int c = 0; c < 3; ++c) {
                    int sample = load(c);
                    if (v_new != v)
                        sample = v != 0 && v_new != 0
                                     ? static_cast<int>(std::int64_t{sample} * v_new / v)
                                     : v_new;
                    store(c, sample);
                }
            }
        }
    return out;
}

// ---------------------------------------------------------------------------
// Running the transformation

const TransformDescriptor& add_noise() {
    const TransformEntry* entry = transform_find_title("Add Noise");
    return *entry->descriptor;
}

void fill_pattern(Image* image, unsigned seed) {
    const int bytes = image_line_bytes(image);
    for (int y = 0; y < image->height; ++y)
        for (int i = 0; i < bytes; ++i)
            image->rows[y][i] = static_cast<std::uint8_t>((seed + 37u * y + 11u * i + i * i) & 255);
}

class AddNoiseTest : public ::testing::Test {
protected:
    void SetUp() override {
        saved_state_ = random_state();
        ASSERT_EQ(params_.allocate(add_noise()), 0);
        image_init(&input_.image);
        image_init(&input_.view_copy);
        image_init(&input_.display_copy);
    }
    void TearDown() override {
        image_free(&input_.image);
        random_set_state(saved_state_);
    }

    void set(const Settings& s) {
        void* p = params_.get();
        field_find(add_noise().fields, "channels")->set(p, s.channels);
        field_find(add_noise().fields, "method")->set(p, s.method);
        AmountSettings& amount = *field_find(add_noise().fields, "amount")->amount(p);
        amount.amount_low = s.amount_low;
        amount.amount_high = s.amount_high;
        amount.amount_mask = const_cast<Image*>(s.mask);
    }

    // The whole picture at zoom 1, as the driver asks for it.
    int run(Image* output, bool apply) {
        ComputeArgs args;
        args.input = &input_;
        args.output = output;
        args.params = params_.get();
        args.apply = apply;
        args.width = input_.image.width;
        args.height = input_.image.height;
        args.zoom = 1;
        args.region_x2 = args.width - 1;
        args.region_y2 = args.height - 1;
        args.line_width = args.width;
        args.line_count = args.height;
        return add_noise().compute(args);
    }

    void make_input(int type, int width, int height, unsigned seed = 5) {
        ASSERT_EQ(image_alloc(&input_.image, type, width, height, 240.0), 0);
        fill_pattern(&input_.image, seed);
    }

    // Runs from a known generator state and compares with the oracle.
    void check(const Settings& s, bool apply, std::int32_t state = 424242) {
        set(s);
        random_set_state(state);
        ImageHolder output;
        ASSERT_EQ(run(output.get(), apply), 0);
        const Samples expected = expected_output(input_.image, s, apply, state);
        const Samples got = samples_of(*output);
        EXPECT_EQ(got.type, expected.type);
        EXPECT_TRUE(got.values == expected.values)
            << "type " << input_.image.type << " channels " << s.channels << " method " << s.method
            << (apply ? " apply" : " preview");
    }

    ParamBlock params_;
    WindowRecord input_{};
    std::int32_t saved_state_ = 0;
};

TEST_F(AddNoiseTest, EveryTypeAgainstTheFormula) {
    struct Case {
        int type;
        int channels;
    };
    const Case cases[] = {{image_type_binary, 0},   {image_type_gray8, 0},
                          {image_type_colour8, 0},  {image_type_colour8, 1},
                          {image_type_colour8, 2},  {image_type_gray16, 0},
                          {image_type_colour16, 0}, {image_type_colour16, 1}};
    for (const Case& c : cases) {
        make_input(c.type, 37, 23);
        for (int method = 0; method < 2; ++method)
            for (bool apply : {true, false}) {
                Settings s;
                s.channels = c.channels;
                s.method = method;
                check(s, apply);
                s.amount_low = 300;  // a partial strength
                check(s, apply);
            }
    }
}

TEST_F(AddNoiseTest, AMaskScalesTheStrengthPerPixel) {
    make_input(image_type_colour8, 40, 30);
    ImageHolder mask;
    ASSERT_EQ(image_alloc(mask.get(), image_type_gray8, 40, 30, 240.0), 0);
    fill_pattern(mask.get(), 99);
    Settings s;
    s.mask = mask.get();
    s.amount_low = 100;
    s.amount_high = 1000;
    check(s, true);
    s.amount_low = 1000;  // a falling ramp
    s.amount_high = 0;
    check(s, false);
}

TEST_F(AddNoiseTest, AmountZeroCopiesAndDrawsNoNumber) {
    for (int type : {image_type_binary, image_type_gray8, image_type_colour16}) {
        make_input(type, 19, 7);
        Settings s;
        s.amount_low = 0;
        set(s);
        random_set_state(5555);
        for (bool apply : {true, false}) {
            ImageHolder output;
            ASSERT_EQ(run(output.get(), apply), 0);
            EXPECT_EQ(random_state(), 5555);
            Samples expected = samples_of(input_.image);
            if (!apply && image_is_16bit(&input_.image))
                for (int& v : expected.values)
                    v = reduce16(v);
            EXPECT_EQ(samples_of(*output).values, expected.values) << type;
        }
    }
}

TEST_F(AddNoiseTest, RefusesOtherTypesBeforeTouchingAnything) {
    for (int type :
         {image_type_colour, image_type_histogram, image_type_mosaic, image_type_four16}) {
        ASSERT_EQ(image_alloc(&input_.image, type, 4, 1, 100.0), 0);
        random_set_state(2024);
        ImageHolder output;
        EXPECT_EQ(run(output.get(), true), err_illegal_type) << type;
        EXPECT_EQ(output->type, image_type_empty);
        EXPECT_EQ(random_state(), 2024);
    }
}

TEST_F(AddNoiseTest, ARegionOfAMagnifiedPreview) {
    // Zoom 2 over a region: each input pixel fills two by two output pixels,
    // and nothing outside the region is written.
    make_input(image_type_gray8, 10, 6);
    Settings s;
    s.amount_low = 512;
    set(s);
    ImageHolder output;
    ASSERT_EQ(image_alloc(output.get(), image_type_gray8, 20, 12, 240.0), 0);
    for (int y = 0; y < 12; ++y)
        std::memset(output->rows[y], 7, 20);
    random_set_state(99);
    ComputeArgs args;
    args.input = &input_;
    args.output = output.get();
    args.params = params_.get();
    args.width = 20;
    args.height = 12;
    args.zoom = 2;
    args.source_x = 3;
    args.source_y = 1;
    args.region_x1 = 6;
    args.region_y1 = 2;
    args.region_x2 = 13;
    args.region_y2 = 7;
    args.line_width = 4;
    args.line_count = 3;
    ASSERT_EQ(add_noise().compute(args), 0);

    Generator g{99};
    const int strength = (512 * 255 + 512) / 1024;
    for (int line = 0; line < 3; ++line)
        for (int i = 0; i < 4; ++i) {
            const int in = image_pixel_pointer(&input_.image, 3 + i, 1 + line)[0];
            const int want = limit(in + noise8(g, 0, strength), 255);
            for (int dy = 0; dy < 2; ++dy)
                for (int dx = 0; dx < 2; ++dx)
                    ASSERT_EQ(output->rows[2 + 2 * line + dy][6 + 2 * i + dx], want);
        }
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 20; ++x)
            if (y < 2 || y > 7 || x < 6 || x > 13) {
                ASSERT_EQ(output->rows[y][x], 7);
            }
}

TEST_F(AddNoiseTest, CommandLineAppliesFromTheStartOfTheSequence) {
    // A new process starts the generator at 1234567, and parses the keyword
    // lines as a workflow block would.
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string folder = dir.path().toStdString();
    make_input(image_type_colour8, 31, 17);
    SaveOptions options;
    options.progress = false;
    const std::string in = folder + "/in.tif";
    ASSERT_EQ(WriteImage(in.c_str(), save_filter_tiff, &input_.image, {}, options), 0);

    const std::string out = folder + "/out.tif";
    ASSERT_EQ(run_batch(words({"apply add_noise colorspace_method 1 1 amount 700 -1 0 0 'Amount: '",
                               quoted(in), quoted(out)})),
              0);
    ImageHolder result;
    int file_type = 0;
    ASSERT_EQ(ReadImage(out.c_str(), result.get(), nullptr, &file_type, 16), 0);
    Settings s;
    s.channels = 1;
    s.method = 1;
    s.amount_low = 700;
    EXPECT_EQ(samples_of(*result).values,
              expected_output(input_.image, s, true, random_start).values);
}

// ---------------------------------------------------------------------------
// Text

std::string read_all(std::FILE* f) {
    std::string s;
    std::rewind(f);
    for (int c; (c = std::fgetc(f)) != EOF;)
        s += static_cast<char>(c);
    return s;
}

class AddNoiseTextTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(params_.allocate(add_noise()), 0); }

    int read_text(const std::string& text, void* params) {
        std::FILE* f = std::tmpfile();
        std::fputs(text.c_str(), f);
        std::rewind(f);
        TextFile file;
        file.adopt(f);
        WorkflowText block{file, images_};
        return add_noise().read(params, block);
    }

    ParamBlock params_;
    WorkflowImages images_;
};

TEST_F(AddNoiseTextTest, WritesTwoLinesAndReadsThemSkippingUnknownOnes) {
    const auto& fields = add_noise().fields;
    void* p = params_.get();
    field_find(fields, "channels")->set(p, 2);
    field_find(fields, "method")->set(p, 1);
    field_find(fields, "amount")->amount(p)->amount_low = 300;
    std::FILE* f = std::tmpfile();
    TextFile file;
    file.adopt(f);
    WorkflowText block{file, images_};
    ASSERT_EQ(add_noise().write(p, block), 0);
    EXPECT_EQ(read_all(f), "   colorspace_method 2 1\r\n   amount 300 -1 0 0 Amount: \r\n");

    ParamBlock back;
    ASSERT_EQ(back.allocate(add_noise()), 0);
    void* q = back.get();
    ASSERT_EQ(
        read_text("   future_key 1 2 3\r\n\r\n   COLORSPACE_METHOD 1 1\r\n"
                  "   Amount 700 -1 0 0 Noise: \r\nEND_WIDGET 171\r\n   amount 5 -1 0 0 x\r\n",
                  q),
        0);
    EXPECT_EQ(field_find(fields, "channels")->get(q), 1);
    EXPECT_EQ(field_find(fields, "method")->get(q), 1);
    EXPECT_STREQ(field_find(fields, "amount")->amount(q)->label, "Noise: ");
    EXPECT_EQ(field_find(fields, "amount")->amount(q)->amount_low, 700);
    // The file ends before end_widget: the block stays as it was.
    ASSERT_EQ(read_text(read_all(f), q), 0);
    EXPECT_EQ(field_find(fields, "channels")->get(q), 1);
}

TEST(AddNoiseDescriptor, TheChannelListShowsForColourInputsOnly) {
    const TransformField* channels = field_find(add_noise().fields, "channels");
    ASSERT_NE(channels, nullptr);
    for (int type = 0; type <= 10; ++type)
        EXPECT_EQ(field_shown(*channels, type), type == 3 || type == 7) << type;
}

}  // namespace
