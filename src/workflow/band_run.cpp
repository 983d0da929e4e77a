#include "workflow/band_run.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <cstdint>
#include <vector>

#include "core/comments.h"
#include "core/errors.h"
#include "core/image.h"
#include "core/preferences.h"
#include "core/progress.h"
#include "file/file_types.h"
#include "file/jpeg_io.h"
#include "file/metadata.h"
#include "file/read_image.h"
#include "file/tiff_reader.h"
#include "transform/transform.h"

namespace {

constexpr std::int64_t band_target_bytes = 4 << 20;
constexpr int least_band_lines = 16;

// The input, a band of lines at a time, from the top.
class BandSource {
public:
    virtual ~BandSource() = default;
    virtual int type() const = 0;
    virtual int width() const = 0;
    virtual int height() const = 0;
    virtual double resolution() const = 0;
    // Bands of a multiple of this many lines read every stored block once.
    virtual int block_lines() const { return 1; }
    [[nodiscard]] virtual int read(Image* band) = 0;
    // The embedded profile, as an open of the whole file gives it.
    virtual std::vector<std::uint8_t> profile() const = 0;
};

class TiffBands final : public BandSource {
public:
    explicit TiffBands(std::string path) : path_(std::move(path)) {}
    int open() { return reader_.open(path_.c_str()); }
    int type() const override { return reader_.type(); }
    int width() const override { return reader_.width(); }
    int height() const override { return reader_.height(); }
    double resolution() const override { return reader_.resolution(); }
    int block_lines() const override { return reader_.strip_lines(); }
    int read(Image* band) override { return reader_.read(band); }
    // One that cannot be read is left out, as at an open.
    std::vector<std::uint8_t> profile() const override {
        std::vector<std::uint8_t> bytes;
        if (TiffProbeProfile(path_.c_str(), &bytes) != 0) bytes.clear();
        return bytes;
    }

private:
    std::string path_;
    TiffBandReader reader_;
};

class JpegBands final : public BandSource {
public:
    int open(const std::string& path) { return reader_.open(path.c_str(), preferences().defaultres); }
    int type() const override { return reader_.type(); }
    int width() const override { return reader_.width(); }
    int height() const override { return reader_.height(); }
    double resolution() const override { return reader_.resolution(); }
    int read(Image* band) override { return reader_.read(band); }
    std::vector<std::uint8_t> profile() const override { return reader_.profile(); }

private:
    JpegBandReader reader_;
};

// The source of a file read the way an open reads it, or null when the
// file is neither a TIFF the own reader takes as it stands nor a JPEG.
std::unique_ptr<BandSource> open_source(const std::string& path) {
    const int named = FileTypeOfName(path);
    if (named == file_type_tiff) {
        auto tiff = std::make_unique<TiffBands>(path);
        if (tiff->open() == 0) return tiff;
        return nullptr;
    }
    FileSignature signature = FileSignature::other;
    if (named != file_type_jpeg || file_signature(path.c_str(), &signature) != 0 ||
        signature != FileSignature::jpeg)
        return nullptr;
    auto jpeg = std::make_unique<JpegBands>();
    if (jpeg->open(path) == 0) return jpeg;
    return nullptr;
}

// The input read and the output made, band after band. While the writer
// packs and writes one band, the next is read and computed beside it. The
// bands the writer may still ask for are kept; those behind it go back to a
// pool, so that their memory, already cleared by the system, serves again.
class BandPipeline {
public:
    BandPipeline(BandSource& reader, const BandRun& run, int band_lines)
        : reader_(reader), run_(run), band_lines_(band_lines) {}
    BandPipeline(const BandPipeline&) = delete;
    BandPipeline& operator=(const BandPipeline&) = delete;
    ~BandPipeline() {
        if (pending_.valid()) pending_.wait();
    }

    // Makes the first band, which settles the output's type.
    int start() { return take_band(); }
    const Image& first_band() const { return *bands_.front().image; }

    // The writer's fill: file lines first .. first + count - 1 of `shell`.
    int fill(Image& shell, int first, int count) {
        while (!bands_.empty() && bands_.front().top + bands_.front().image->height <= first) {
            spare_.push_back(std::move(bands_.front().image));
            bands_.pop_front();
        }
        while (made_ < first + count) {
            if (int err = take_band()) return err;
        }
        prefetch();
        for (const Band& band : bands_) {
            const Image& image = *band.image;
            if (image.type != shell.type || image.width != shell.width) return err_illegal_type;
            const int top = std::max(first, band.top);
            const int end = std::min(first + count, band.top + image.height);
            for (int y = top; y < end; ++y)
                shell.rows[shell.height - 1 - y] = image.rows[image.height - 1 - (y - band.top)];
        }
        return 0;
    }
    bool read_failed() const { return read_failed_; }

private:
    struct Band {
        int top = 0;  // its first line, counted from the picture's top
        ImageHolder image;
    };

    // Starts the next band beside this thread, unless one is on its way or
    // the picture is done.
    void prefetch() {
        if (pending_.valid() || asked_ >= reader_.height()) return;
        next_ = Band{};
        next_.top = asked_;
        if (!spare_.empty()) {
            next_.image = std::move(spare_.back());
            spare_.pop_back();
        }
        const int lines = std::min(band_lines_, reader_.height() - asked_);
        asked_ += lines;
        pending_ = std::async(std::launch::async, [this, lines] { return make(lines); });
    }

    // Waits for the band on its way (starting it first when there is none)
    // and keeps it.
    int take_band() {
        prefetch();
        if (!pending_.valid()) return err_illegal_type;
        if (int err = pending_.get()) return err;
        made_ = next_.top + next_.image->height;
        bands_.push_back(std::move(next_));
        return 0;
    }

    // Reads and computes `next_`; runs beside the writer, reporting nothing.
    int make(int lines) {
        const ProgressQuiet quiet;
        Image& out = *next_.image;
        Image& in = run_.descriptor ? *input_ : out;
        if (int err = image_alloc(&in, reader_.type(), reader_.width(), lines,
                                  reader_.resolution()))
            return err;
        if (int err = reader_.read(&in)) {
            read_failed_ = true;
            return err;
        }
        if (run_.descriptor)
            return transform_compute_image(*run_.descriptor, run_.params, &in, &out);
        return 0;
    }

    BandSource& reader_;
    const BandRun& run_;
    int band_lines_;
    int asked_ = 0;  // lines handed to a band so far
    int made_ = 0;   // lines read and computed so far
    std::atomic<bool> read_failed_{false};
    ImageHolder input_;
    std::deque<Band> bands_;
    std::vector<ImageHolder> spare_;
    Band next_;
    std::future<int> pending_;  // last: it is waited for before the rest goes
};

}  // namespace

int band_run(const std::string& in, const std::string& out, const BandRun& run) {
    if ((run.save.tiff_thumbnail && run.filter == save_filter_tiff) ||
        !save_filter_writes_bands(run.filter))
        return band_run_declined;
    if (run.descriptor && (!run.descriptor->line_local || !run.descriptor->line_local(run.params)))
        return band_run_declined;
    const std::unique_ptr<BandSource> source = open_source(in);
    if (!source) return band_run_declined;
    BandSource& reader = *source;

    int band_lines = run.band_lines;
    if (band_lines <= 0) {
        Image shape;
        image_init(&shape);
        shape.type = reader.type();
        shape.width = reader.width();
        const std::int64_t line = std::max(1, image_line_bytes(&shape));
        const int strip = std::max(1, reader.block_lines());
        const std::int64_t lines = std::max<std::int64_t>(least_band_lines, band_target_bytes / line);
        band_lines = static_cast<int>(std::min<std::int64_t>(
            reader.height(), (lines + strip - 1) / strip * strip));
    }
    BandPipeline pipeline(reader, run, band_lines);
    if (int err = pipeline.start()) return pipeline.read_failed() ? band_run_declined : err;

    // A profile describes colour or gray: it stays only where the result kept
    // the input's kind.
    std::vector<std::uint8_t> profile = reader.profile();
    const bool colour_in = reader.type() == image_type_colour8 ||
                           reader.type() == image_type_colour16;
    const Image& first = pipeline.first_band();
    if (image_is_colour(&first) != colour_in) profile.clear();

    // The input's comments go where a save of the whole picture puts them;
    // damaged ones give a shorter list, as at an open.
    CommentList comments;
    (void)ReadComments(in.c_str(), FileTypeOfName(in), &comments, nullptr);
    SaveOptions save = run.save;
    save.comments = &comments;

    // The output as the writer sees it: the picture's shape, its lines
    // pointed into the bands as they are made.
    std::vector<std::uint8_t*> rows(static_cast<std::size_t>(reader.height()), nullptr);
    Image shell = first;
    shell.height = reader.height();
    shell.rows = rows.data();
    shell.chunk_count = 0;
    shell.chunks = nullptr;
    shell.mosaic_info = nullptr;
    const int err = WriteImageBands(out.c_str(), run.filter, &shell, profile, save,
                                   [&](int line, int count) {
                                       return pipeline.fill(shell, line, count);
                                   });
    return err != 0 && pipeline.read_failed() ? band_run_declined : err;
}
