// Advanced Sharpen's stages: specks removed only where their kind is on and
// their ring is flat; the thresholded blur and sharpen against a plain
// restatement of the edge-keeping mean; the chroma of a grey picture left
// alone at 16 bits; the whole chain the same on any thread count.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <QTemporaryDir>

#include <fstream>

#include "batch_runner.h"
#include "core/parallel.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"
#include "sample_pictures.h"
#include "transform/detail_stages.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "transform/wavelet.h"

namespace {

int& sample_ref(std::vector<int>& v, int w, int ch, int x, int y, int c) {
    return v[(static_cast<std::size_t>(y) * w + x) * ch + c];
}

std::vector<int> texture(int w, int h, int ch, int top, unsigned seed) {
    std::vector<int> v(static_cast<std::size_t>(w) * h * ch);
    for (int& s : v) {
        seed = seed * 1103515245u + 12345u;
        s = static_cast<int>((seed >> 8) % static_cast<unsigned>(top + 1));
    }
    for (int y = 0; y < h; ++y)  // an edge through it
        for (int x = w / 2; x < w; ++x)
            for (int c = 0; c < ch; ++c)
                sample_ref(v, w, ch, x, y, c) =
                    std::min(top, sample_ref(v, w, ch, x, y, c) / 4 + top / 2);
    return v;
}

TEST(AdvancedSharpenStages, SpecksGoOnlyWhereTheirKindIsOn) {
    struct Case {
        int type, size;
        int speck;          // the speck's level, 8-bit; -1: none
        int speck_channel;  // colour: the one channel with the speck
        bool white, black;
        bool textured;  // a ring that is not flat
        bool removed;
    } const cases[] = {
        {image_type_gray8, 1, 250, 0, true, false, false, true},
        {image_type_gray8, 1, 250, 0, false, true, false, false},
        {image_type_gray8, 3, 0, 0, false, true, false, true},
        {image_type_gray8, 3, 0, 0, true, false, false, false},
        {image_type_gray8, 2, 240, 0, true, true, false, true},
        {image_type_gray8, 4, 240, 0, true, true, false, true},
        {image_type_gray8, 1, 250, 0, true, true, true, false},
        {image_type_colour16, 1, 250, 2, true, false, false, true},
        {image_type_colour16, 5, 5, 1, false, true, false, true},
    };
    const int w = 21, h = 19, x = 9, y = 8;
    for (const Case& c : cases) {
        const int ch = channels(c.type), scale = is_wide(c.type) ? 257 : 1;
        std::vector<int> flat(static_cast<std::size_t>(w) * h * ch, 100 * scale);
        if (c.textured)
            for (int j = y - 3; j <= y + 3; ++j)
                for (int i = x - 3; i <= x + 3; ++i)
                    sample_ref(flat, w, ch, i, j, c.speck_channel) =
                        ((i + j) % 2 ? 60 : 140) * scale;
        std::vector<int> with = flat;
        // The square reaches (size - 1) / 2 back and size / 2 forward.
        for (int j = y - (c.size - 1) / 2; j <= y + c.size / 2; ++j)
            for (int i = x - (c.size - 1) / 2; i <= x + c.size / 2; ++i)
                sample_ref(with, w, ch, i, j, c.speck_channel) = c.speck * scale;
        Image input = image_of(with, w, h, c.type);
        ImageHolder output;
        SpeckSettings s;
        s.size = c.size;
        s.flat = 10;
        s.difference = 160;  // a difference of 95 levels or more
        s.white = c.white;
        s.black = c.black;
        ASSERT_EQ(speck_removal_image(&input, output.get(), s), 0);
        EXPECT_EQ(samples_of(*output.get()), c.removed ? flat : with)
            << "type " << c.type << " size " << c.size << " speck " << c.speck;
        image_free(&input);
    }
}

// The edge-keeping mean and the push against it, restated sample by sample.
std::vector<int> thresholded(const std::vector<int>& v, int w, int h, int ch, int top,
                             const ThresholdedStage& st) {
    const int low = top == 255 ? st.low : st.low * 257, high = top == 255 ? st.high : st.high * 257;
    std::vector<int> mean(v.size()), out(v.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < ch; ++c) {
                const int centre = v[(static_cast<std::size_t>(y) * w + x) * ch + c];
                long sum = 0, count = 0;
                for (int j = y - st.radius; j <= y + st.radius; ++j)
                    for (int i = x - st.radius; i <= x + st.radius; ++i) {
                        const int s = v[(static_cast<std::size_t>(std::clamp(j, 0, h - 1)) * w +
                                         std::clamp(i, 0, w - 1)) *
                                            ch +
                                        c];
                        if (std::abs(s - centre) <= high) sum += s, ++count;
                    }
                mean[(static_cast<std::size_t>(y) * w + x) * ch + c] =
                    count ? static_cast<int>(sum / count) : centre;
            }
    for (std::size_t p = 0; p < v.size(); p += ch) {
        bool moves = false;
        for (int c = 0; c < ch; ++c)
            moves = moves || std::abs(v[p + c] - mean[p + c]) >= low;
        for (int c = 0; c < ch; ++c) {
            const double d = st.factor * (v[p + c] - mean[p + c]);
            const int r = static_cast<int>(d < 0 ? -std::floor(-d + 0.5) : std::floor(d + 0.5));
            out[p + c] = moves ? std::clamp(mean[p + c] + r, 0, top) : v[p + c];
        }
    }
    return out;
}

TEST(AdvancedSharpenStages, BlurAndSharpenAgainstTheEdgeKeepingMean) {
    struct Case {
        int type;
        ThresholdedStage stage;
    } const cases[] = {
        {image_type_colour8, {2, 10, 60, 0.4, StagePart::all}},
        {image_type_gray8, {1, 0, 255, 1.8, StagePart::all}},
        {image_type_gray16, {3, 30, 90, 1.35, StagePart::all}},
        {image_type_colour16, {1, 5, 40, 0.0, StagePart::all}},
    };
    const int w = 23, h = 17;
    for (const Case& c : cases) {
        const int top = is_wide(c.type) ? 65535 : 255;
        const std::vector<int> v = texture(w, h, channels(c.type), top, 3);
        Image input = image_of(v, w, h, c.type);
        ImageHolder output;
        ASSERT_EQ(thresholded_stage_image(&input, output.get(), c.stage), 0);
        EXPECT_EQ(samples_of(*output.get()), thresholded(v, w, h, channels(c.type), top, c.stage))
            << "type " << c.type << " factor " << c.stage.factor;
        image_free(&input);
    }
}

// A grey pixel's chroma at full value is white whatever its level, so
// chroma-only blurring leaves a grey picture as it is; its value only
// sharpened, the grey stays grey.
TEST(AdvancedSharpenStages, ChromaAndValueKeepAGreyPictureGrey) {
    const int w = 19, h = 15;
    for (int type : {image_type_colour8, image_type_colour16}) {
        const int top = is_wide(type) ? 65535 : 255;
        std::vector<int> v = texture(w, h, 3, top, 5);
        for (std::size_t p = 0; p < v.size(); p += 3)
            v[p + 1] = v[p + 2] = v[p];
        Image input = image_of(v, w, h, type);
        ImageHolder blurred, sharpened;
        ASSERT_EQ(
            thresholded_stage_image(&input, blurred.get(), {2, 0, 255, 0.0, StagePart::chroma}), 0);
        EXPECT_EQ(samples_of(*blurred.get()), v) << type;
        ASSERT_EQ(
            thresholded_stage_image(&input, sharpened.get(), {2, 0, 255, 2.0, StagePart::value}),
            0);
        const std::vector<int> s = samples_of(*sharpened.get());
        bool grey = true;
        for (std::size_t p = 0; p < s.size(); p += 3)
            grey = grey && s[p] == s[p + 1] && s[p] == s[p + 2];
        EXPECT_TRUE(grey) << type;
        EXPECT_NE(s, v) << type;
        image_free(&input);
    }
}

const TransformDescriptor& advanced_sharpen() {
    return *transform_find_title("Advanced Sharpen")->descriptor;
}

TEST(AdvancedSharpen, SameBytesOnAnyThreadCountAndCopiesWithEveryStageOff) {
    const int w = 90, h = 70;
    std::vector<int> v = texture(w, h, 3, 65535, 8);
    for (int k = 0; k < 40; ++k)  // specks, some overlapping
        for (int c = 0; c < 3; ++c)
            sample_ref(v, w, 3, 10 + (k * 7) % 70, 10 + (k * 13) % 50, c) = 65535;
    Image input = image_of(v, w, h, image_type_colour16);
    ParamBlock params;
    ASSERT_EQ(params.allocate(advanced_sharpen()), 0);
    auto set = [&](const char* keyword, double value) {
        field_find(advanced_sharpen().fields, keyword)->set(params.get(), value);
    };
    set("removewhitespecks", 1);
    set("speckthresh", 255);
    set("speckdiffthresh", 250);
    set("bluramt", 70);
    set("blurflags", 1);
    set("sharpenflags", 1);
    std::vector<int> first;
    for (int threads : {1, 2, 4}) {
        parallel_set_threads(threads);
        ImageHolder output;
        ASSERT_EQ(transform_compute_image(advanced_sharpen(), params.get(), &input, output.get()),
                  0);
        if (first.empty())
            first = samples_of(*output.get());
        else
            EXPECT_EQ(samples_of(*output.get()), first) << threads << " threads";
    }
    parallel_set_threads(0);
    EXPECT_NE(first, v);
    set("removewhitespecks", 0);
    set("bluramt", 0);
    set("sharpenamt", 0);
    ImageHolder copy;
    ASSERT_EQ(transform_compute_image(advanced_sharpen(), params.get(), &input, copy.get()), 0);
    EXPECT_EQ(samples_of(*copy.get()), v);
    image_free(&input);
}

TEST(AdvancedSharpen, APreviewShowsTheWholePicturesPixels) {
    const int w = 150, h = 110;
    std::vector<int> v = texture(w, h, 3, 255, 21);
    for (int k = 0; k < 30; ++k)  // specks along the part's edges
        sample_ref(v, w, 3, 45 + (k * 17) % 60, 35 + (k * 7) % 40, k % 3) = 255;
    WindowRecord record{};
    record.image = image_of(v, w, h, image_type_colour8);
    ParamBlock params;
    ASSERT_EQ(params.allocate(advanced_sharpen()), 0);
    auto set = [&](const char* keyword, double value) {
        field_find(advanced_sharpen().fields, keyword)->set(params.get(), value);
    };
    set("removewhitespecks", 1);
    set("speckthresh", 255);
    set("speckdiffthresh", 240);
    set("bluramt", 60);
    set("blurradius", 4);
    set("sharpenradius", 5);
    expect_preview_is_apply(advanced_sharpen(), params.get(), record, "advanced sharpen");
    image_free(&record.image);
}

// orvane-batch reaches both: Noise Reduction from its workflow lines (t as
// written, the levels line an index), Advanced Sharpen from a settings file
// and a line on top of it.
TEST(AdvancedSharpen, OrvaneBatchAppliesBothFromLinesAndFiles) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string folder = dir.path().toStdString();
    const int w = 64, h = 48;
    const std::vector<int> v = texture(w, h, 3, 65535, 12);
    Image input = image_of(v, w, h, image_type_colour16);
    SaveOptions options;
    options.progress = false;
    ASSERT_EQ(WriteImage((folder + "/in.tif").c_str(), save_filter_tiff, &input, {}, options), 0);
    std::ofstream(folder + "/blur.as", std::ios::binary)
        << "AdvancedSharpen 1.0\r\nbluramt 40\r\nblurthresh 5 60\r\nsharpenamt 30\r\nend\r\n";
    ImageHolder denoised, blurred;
    ASSERT_EQ(wavelet_denoise_image(&input, denoised.get(), {3000, 4, true, 0.5}, {}), 0);
    ASSERT_EQ(thresholded_stage_image(&input, blurred.get(), {2, 5, 60, 0.6, StagePart::all}), 0);
    struct Case {
        std::string args;
        const Image* expected;
    } const cases[] = {
        {"apply 'Noise Reduction' thresh_levels 3000 3 method_sharpen 1 0.5", denoised.get()},
        {"apply 'Advanced Sharpen' --settings " + quoted(folder + "/blur.as") + " sharpenamt 0",
         blurred.get()},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(
            run_batch(words({c.args, quoted(folder + "/in.tif"), quoted(folder + "/out.tif")})), 0)
            << c.args;
        ImageHolder result;
        int file_type = 0;
        ASSERT_EQ(ReadImage((folder + "/out.tif").c_str(), result.get(), nullptr, &file_type, 16),
                  0);
        EXPECT_EQ(samples_of(*result.get()), samples_of(*c.expected)) << c.args;
    }
    image_free(&input);
}

}  // namespace
