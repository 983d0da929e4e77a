// The curve control: a chart of a tone curve over the histogram of the
// input, edited with the mouse, with its style, histogram and display lists
// and the "&Reset", "&Invert", "Load..." and "Save..." buttons.
//
// Mouse: drag a point (or, in the rulers left of and under the chart, only
// its y or only its x); Shift and click adds a point, Ctrl and click on a
// point deletes it. The chart redraws at every move of a drag, and the
// control reports `changed` only when the drag ends, so a preview is not
// recomputed at every pixel.
#pragma once

#include "transform/curves.h"

#include <QWidget>

#include <array>

class QComboBox;
class CurveChart;

class CurveControl : public QWidget {
    Q_OBJECT
public:
    explicit CurveControl(QWidget* parent = nullptr);

    // The curve shown and edited; it must outlive the control or be replaced.
    void set_curve(Curve* curve);
    Curve* curve() const { return curve_; }
    // The histograms behind the curve: 1 (one level) or 3 (red, green, blue,
    // drawn as their largest), 0 for none.
    void set_histograms(const CurveHistogram* histograms, int count);
    // 0 "Show Curve", 1 "Show Histograms".
    void set_mode(int mode);
    int mode() const;
    int grid() const;  // lines across: 4, 8 or 10

    // Chart geometry, in the chart's own pixels: where a level lies.
    int level_x(int level) const;
    int level_y(int level) const;
    QWidget* chart() const;

    // The probe: n for the square of 2n + 1 pixels it averages ("1x1 Probe" to
    // "9x9 Probe"); the levels it read, marked on the chart (none: count 0);
    // and on release a point at each level, its y from the table, so that the
    // curve keeps its shape.
    int probe_radius() const;
    void set_markers(const int* levels, int count);
    void add_probed_points(const int* levels, int count);

    // Edits as the buttons make them.
    void reset();
    void invert();

signals:
    // The points, style or histogram expansion changed.
    void changed();

private:
    friend class CurveChart;
    void refresh();
    void edited();

    Curve* curve_ = nullptr;
    CurveChart* chart_ = nullptr;
    QComboBox* style_ = nullptr;
    QComboBox* expand_ = nullptr;
    QComboBox* mode_ = nullptr;
    QComboBox* grid_ = nullptr;
    QComboBox* probe_ = nullptr;
    std::array<int, 3> markers_{};
    int marker_count_ = 0;
    std::array<CurveHistogram, 3> histograms_{};
    int histogram_count_ = 0;
};
