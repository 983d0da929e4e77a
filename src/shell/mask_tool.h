// The Mask tool: a panel beside a picture that edits its mask, an 8-bit
// gray picture of the same size in a window of its own (hidden when the
// tool made it), shown over the picture in the chosen overlay mode. Each
// region kind draws on the picture or computes from it, and merges at once
// into the mask under the current mode; one level of undo.
#pragma once

#include "core/image.h"
#include "mask/brush.h"
#include "transform/mask_lines.h"
#include "transform/outline.h"
#include "shell/image_drawing.h"
#include "shell/transform_panel.h"
#include "transform/curves.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QString>

#include <array>
#include <vector>

class ImageWindow;
class QMdiArea;
class TransformPanel;
class WindowBase;

// The region kinds, in the order of their buttons.
enum class MaskKind {
    freehand,
    rectangle,
    oval,
    polygon,
    spline,
    feather,
    blur,
    color_range,
    paint,
    combine,
    brightness_curve,
    flood_fill,
    texture,
};
inline constexpr const char* mask_kind_labels[] = {
    "Freehand Outline", "Rectangle",  "Oval",        "Polygon", "Spline",
    "Feather",          "Blur",       "Color Range", "Paint",   "Combine Masks",
    "Brightness Curve", "Flood Fill", "Texture",
};
inline constexpr const char* mask_overlay_labels[] = {
    "Red Overlay",         "Green Overlay",      "Blue Overlay",
    "White Overlay",       "Clear Mask Overlay", "Semitransparent Mask Overlay",
    "Opaque Mask Overlay", "Mask Only",
};

// The exponential slider of the radii: position 0..1024 to a value 0..max
// with c = 4, and back (rounded).
double exp_slider_value(int position, double max = 1000.0);
int exp_slider_position(double value, double max = 1000.0);

// Opens the tool on the active picture (an image window of type 1, 2, 3, 6
// or 7), editing `existing` (a gray window of the picture's size) or a new
// cleared mask in a hidden window. 0; 14 for a picture of another type or a
// mask that doesn't fit; 1 for memory. A tool already open is activated.
[[nodiscard]] int mask_tool_open(QMdiArea* area, ImageWindow* existing);
bool mask_tool_is_open();
bool mask_tool_owns(const WindowBase* window);
// Tools > Mask > New (4500), and 4501 to 4550 for the masks kept by "OK",
// newest first, which the tool then edits: true when the number is the tool's.
inline constexpr int mask_new_command = 4500;
inline constexpr int mask_recent_last = 4550;
bool mask_tool_command(QMdiArea* area, int number);
// The masks that "OK" kept and whose windows are still open, and their titles.
int mask_recent_count();
QString mask_recent_label(int index);

class MaskTool : public QObject, public ImageDrawing {
    Q_OBJECT
public:
    MaskTool(QMdiArea* area, ImageWindow* picture, ImageWindow* mask, bool created);
    ~MaskTool() override;

    TransformPanel* panel() const { return panel_; }
    ImageWindow* picture_window() const { return picture_.data(); }
    ImageWindow* mask_window() const { return mask_.data(); }
    MaskKind kind() const { return kind_; }
    void select_kind(MaskKind kind);
    int mode() const { return mode_; }
    void set_mode(int mode);
    void set_overlay(int index);

    // The running action of the computed kinds, and the end of a polygon or spline.
    void apply();
    void invert();
    void show_area();
    void undo();
    // "OK" keeps the mask as the picture's standing mask; "Cancel" throws
    // away a mask the tool made. Both close the tool.
    void finish(bool keep);

    // Settings of the sub-panels, reachable by tests as by the controls.
    struct Settings {
        int feather_width = 16;
        int feather_falloff = 0;
        int feather_corners = 0;
        int blur_radius = 10;
        BrushSettings brush;
        double flood_threshold = 32.0;
        int range_space = 0;
        std::array<int, 12> range_limits = {0,   1024, 256, 768,  0,   1024,
                                            256, 768,  0,   1024, 256, 768};
        int combine_value = 255;
        int texture_method = 0;
        int texture_size = 0;
    };
    Settings& settings() { return settings_; }
    std::vector<QPointF>& outline_points() { return points_; }

    // ImageDrawing
    bool pointer(ImageWindow* window, QPointF at, ProbePhase phase) override;
    bool double_click(ImageWindow* window, QPointF at) override;
    void hover(ImageWindow* window, QPointF at) override;
    void paint(ImageWindow* window, QPainter& painter) override;

private:
    void build_panel();
    void fit_panel();
    QWidget* build_sub_panel(MaskKind kind);
    // Copies the mask and its classes for "Undo" before an operation.
    void save_undo();
    // Shows what an operation changed; an error code is reported.
    void changed(int code, const MaskChange& change);
    void run_outline(const std::vector<QPointF>& points);
    void load_outline();
    void save_outline();
    Image* mask_image() const;
    const Image* picture_image() const;
    void update_overlay_view();
    // Color Range's probe: a click on the picture widens the RGB limits to it.
    void probe_range(QPointF at);
    // The histogram of local contrast behind Texture's curve.
    void texture_histogram_update();

    QPointer<TransformPanel> panel_;
    QPointer<ImageWindow> picture_;
    QPointer<ImageWindow> mask_;
    bool created_;
    WindowBase* previous_mask_;
    MaskKind kind_ = MaskKind::freehand;
    int mode_ = mask_mode_add;
    Settings settings_;
    Curve brightness_curve_{};
    Curve texture_curve_{};
    CurveHistogram texture_histogram_;
    QPointer<ImageWindow> combine_with_;
    LineClasses classes_;
    ImageHolder undo_image_;
    LineClasses undo_classes_;
    bool undo_enabled_ = true;
    bool undo_valid_ = false;
    // Drawing state.
    bool dragging_ = false;
    QPointF drag_start_, drag_now_, hover_;
    std::vector<QPointF> points_;        // polygon or spline being drawn, or loaded
    std::vector<QPointF> last_outline_;  // the last polygon or spline applied
    std::vector<SubPoint> freehand_;
    BrushStroke stroke_;
    ColorRangeTables brush_tables_;
    bool closing_ = false;
};

MaskTool* mask_tool_instance();
