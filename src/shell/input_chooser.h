// The input chooser of a transformation panel: "Input Image:" and a pop-up of
// the image windows open in the work area. The list is read afresh each time
// it opens, so it always shows the windows open at that moment.
#pragma once

#include <QPointer>
#include <QWidget>

#include <functional>
#include <vector>

class ImageWindow;
class QComboBox;
class QLabel;
class QMdiArea;

class InputChooser : public QWidget {
    Q_OBJECT
public:
    // Which windows a transformation takes; every image window when empty.
    using Filter = std::function<bool(const ImageWindow*)>;

    InputChooser(QWidget* parent, QMdiArea* area,
                 const QString& label = QStringLiteral("Input Image:"));

    void set_filter(Filter filter);
    // The windows offered: image windows (kind 0) of the area that pass the
    // filter, in the order they were opened.
    std::vector<ImageWindow*> candidates() const;

    // Shows `window` as the chosen one, without a signal.
    void set_current(ImageWindow* window);
    ImageWindow* current() const { return current_.data(); }
    // Rebuilds the list from the open windows.
    void refresh();

    QComboBox* combo() const { return combo_; }

signals:
    // The user chose another window.
    void input_changed(ImageWindow* window);

private:
    void chosen(int index);

    QPointer<QMdiArea> area_;
    QLabel* label_;
    QComboBox* combo_;
    Filter filter_;
    QPointer<ImageWindow> current_;
    std::vector<QPointer<ImageWindow>> listed_;
};

// The name an image window goes by in lists: its title without zoom and size.
QString image_window_list_name(const ImageWindow* window);
