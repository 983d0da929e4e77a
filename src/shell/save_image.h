// Saving image windows: Save As through the Save Image panel with its checks
// and questions, Save in place, the save that the close question asks for, and
// Revert. Every write goes through WriteImage and so through the safe
// replacement: a save that fails leaves the file it was meant to replace, the
// window's names and its modified mark as they were.
#pragma once

#include <QString>

#include <functional>

class ImageWindow;
class QMdiArea;
class QWidget;

// What the Save Image panel's format groups choose. They start from the saved
// state and go back into it when the panel ends on OK with their format.
struct SaveChoices {
    int tiff_compression = 0;   // `TIFFCompressMode`: none, Zip, LZW
    int jpeg_quality = 97;      // first number of `jpegquality`
    int jpeg_sampling = 0;      // 4:4:4, 4:2:2, 4:1:1: second number of `jpegquality`
    int save_file_options = 0;  // `savefileoptions`: bits of write_image.h
    int bmp_version = 0;        // `BMPVersion`
    bool operator==(const SaveChoices&) const = default;
};

SaveChoices save_choices_from_state();

// What the panel is shown with.
struct SaveImageRequest {
    QWidget* parent = nullptr;
    QString title;  // "Save Image  (%s)" with the window's title
    QString name;   // the proposed path
    int filter = 1;
    SaveChoices choices;
};

// How the panel ended: an empty name is Cancel.
struct SaveImageAnswer {
    QString name;
    int filter = 1;
    SaveChoices choices;
};

// Shows the Save Image panel. The editor's is SaveImagePanel; tests put in
// their own. Returns the one set before; null restores the panel.
using SaveImageChooser = std::function<SaveImageAnswer(const SaveImageRequest&)>;
SaveImageChooser save_image_set_chooser(SaveImageChooser chooser);

// Save As: the panel until a name passes the extension, overwrite and 16-bit
// checks, then the write. 0; 11 when the panel was cancelled; otherwise the
// writer's or the format's error, not yet shown.
[[nodiscard]] int SaveImageAs(ImageWindow* window);
// Save: in place to the window's file when it has one and its stored file
// type has a save filter, with no question; otherwise Save As.
[[nodiscard]] int SaveImage(ImageWindow* window);
// Revert: loads the window's file again into its record. A failure leaves the
// window empty and unnamed, as the load cleared it. 0 for a window without a
// file, which has nothing to go back to.
[[nodiscard]] int Revert(ImageWindow* window);

// The Yes of the close question: Save, with a failure shown. True when the
// picture was saved and the window may close.
bool save_before_close(ImageWindow* window);

// The JPEG save's statistics panel "File Save (JPEG)": shown after each JPEG
// written from the editor unless the `savefileoptions` say otherwise.
struct JpegStatistics {
    QString path;
    long long image_bytes = 0;
    long long file_bytes = 0;
    bool colour = false;  // the sampling and the "Include:" popups show only for colour
    SaveChoices choices;  // the values just used
};
// Returns false for "Done"; true with new choices for "Save Again".
using JpegStatisticsPanel = std::function<bool(const JpegStatistics&, SaveChoices*)>;
JpegStatisticsPanel save_image_set_statistics_panel(JpegStatisticsPanel panel);

// A size as the statistics show it: "%d bytes" below 1,000, then "%.2f KB",
// "%.2f MB" and "%.2f GB" in thousands, millions and billions.
QString jpeg_size_text(long long bytes);

// The commands 1006 Save, 1007 Save As, 1008 Close and 1009 Revert on the
// active image window, with errors shown. False for other numbers.
bool save_image_command(QMdiArea* area, int number);
