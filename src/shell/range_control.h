// The range bar: the input's histogram with two handles under it for the
// input levels that map to the ends and two above it for the output levels
// they map to, a caption of the output range in percent and "Full Range",
// which opens the input range to 0..255 and leaves the output range.
//
// A handle is dragged along its edge and never passes its partner. The bar
// redraws at every move of a drag and the control reports `changed` only
// when the drag ends, so a preview is not recomputed at every pixel.
#pragma once

#include "transform/curves.h"

#include <QString>
#include <QWidget>

#include <array>

class QLabel;
class RangeBar;

class RangeControl : public QWidget {
    Q_OBJECT
public:
    enum Part { in_low, in_high, out_low, out_high };
    using Values = std::array<int, 4>;  // by Part

    // `label` and `format` make the caption: label + format(out low / 2.55,
    // out high / 2.55).
    RangeControl(const QString& label, const QString& format, QWidget* parent = nullptr);

    void set_values(const Values& values);
    const Values& values() const { return values_; }
    // The histogram under the handles; null for none.
    void set_histogram(const CurveHistogram* histogram);

    // Bar geometry, in the bar's own pixels: where a level lies across, and
    // the line of the upper (output) or lower (input) handles.
    int level_x(int level) const;
    int handle_y(bool upper) const;
    QWidget* bar() const;

signals:
    void changed();

private:
    friend class RangeBar;
    void show_caption();

    Values values_{0, 255, 0, 255};
    CurveHistogram histogram_{};
    bool has_histogram_ = false;
    QString label_;
    QString format_;
    QLabel* caption_ = nullptr;
    RangeBar* bar_ = nullptr;
};
