// The histogram strip of the zone adjustments: the input's histogram with a
// handle under it for each level of the block, left to right: black point,
// the thresholds, white point. Under the histogram a band shows each zone in
// the grey the "Show Zones" display gives it.
//
// A handle is dragged along the strip and never passes its neighbours. The
// strip redraws at every move and reports `changed` when the drag ends, so a
// preview (and the masks behind it) is not recomputed at every pixel.
#pragma once

#include "transform/curves.h"

#include <QWidget>

#include <vector>

class ZoneStripControl : public QWidget {
    Q_OBJECT
public:
    // `handles` is 4 (3-Zone) or 3 (2-Zone).
    explicit ZoneStripControl(int handles, QWidget* parent = nullptr);

    void set_values(const std::vector<int>& values);
    const std::vector<int>& values() const { return values_; }
    void set_histogram(const CurveHistogram* histogram);
    // How bars are drawn: 0 as counted, 1 medium, 2 high expansion.
    void set_expansion(int level);

    // Where a level lies across, and the line of the handles, in the
    // control's own pixels.
    int level_x(int level) const;
    int handle_y() const;

signals:
    void changed();

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    int span() const;
    int level_at(int x) const;
    void move_to(int x);

    std::vector<int> values_;
    CurveHistogram histogram_{};
    bool has_histogram_ = false;
    int expansion_ = 1;
    int dragged_ = -1;
};
