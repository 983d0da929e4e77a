// The frame of a transformation panel: a floating panel inside the work area
// with a title bar, a client area for the controls, and the row of buttons
// "Auto", "Preview", "Apply", "OK", "Cancel". The panel only reports what the
// user does; what the buttons do is the transformation driver's business.
#pragma once

#include "core/window_record.h"
#include "shell/link_notify.h"
#include "shell/panel.h"

#include <QFrame>
#include <QPointer>

class PanelTitleBar;
class QCheckBox;
class QMdiArea;
class QPushButton;
class QSizeGrip;

// Flags of panel_create.
enum PanelFlag : int {
    panel_resizable = 1,       // the panel may be resized
    panel_no_system_menu = 2,  // no close box in the title bar
};

enum class PanelButton { automatic, preview, apply, ok, cancel };

// The row of buttons. The short row has no "Auto" and "Preview": those
// handles are null.
class PanelButtonRow : public QWidget {
    Q_OBJECT
public:
    PanelButtonRow(QWidget* parent, bool short_row);

    QCheckBox* auto_box() const { return auto_; }
    QPushButton* preview_button() const { return preview_; }
    QPushButton* apply_button() const { return apply_; }
    QPushButton* ok_button() const { return ok_; }
    QPushButton* cancel_button() const { return cancel_; }

signals:
    void pressed(PanelButton button);

private:
    QCheckBox* auto_ = nullptr;
    QPushButton* preview_ = nullptr;
    QPushButton* apply_;
    QPushButton* ok_;
    QPushButton* cancel_;
};

class TransformPanel : public QFrame, public PanelRoles, public WindowBase, public LinkListener {
    Q_OBJECT
public:
    // Use panel_create: it also places the panel and registers it as open.
    TransformPanel(QMdiArea* area, const QString& title, int client_width, int client_height,
                   int panel_number, int flags);
    ~TransformPanel() override;

    QString title() const;
    int panel_number() const { return window_kind; }
    int flags() const { return flags_; }
    // The area below the title bar where the controls go.
    QWidget* client() const { return client_; }

    // The row of buttons, once made; null before.
    PanelButtonRow* button_row() const { return row_; }
    void set_button_row(PanelButtonRow* row);

    // Makes the client this size, the panel growing or shrinking around it.
    void set_client_size(int width, int height);
    // Fits the client to its visible controls, with a gap to the right and
    // below; run after controls were hidden or shown.
    void fit_to_contents();
    // Brings the panel to the front and gives it the keyboard.
    void activate();

    // What the row reports, and also Enter, Esc and the close box.
    void press(PanelButton button);
    void ok() override { press(PanelButton::ok); }
    void cancel() override { press(PanelButton::cancel); }

    void link_target_changed(WindowBase* target) override { emit linked_image_changed(target); }

signals:
    void button_pressed(PanelButton button);
    // A window that the panel holds a link to got new pixels.
    void linked_image_changed(WindowBase* target);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    int chrome_width() const;
    int chrome_height() const;

    PanelTitleBar* title_bar_;
    QWidget* client_;
    QSizeGrip* grip_ = nullptr;
    PanelButtonRow* row_ = nullptr;
    int flags_;
};

// Creates the panel in `area` (the frame's by default), horizontally centred
// and against the bottom edge, registered as an open panel. `panel_number`
// becomes its window kind.
TransformPanel* panel_create(const QString& title, int client_width, int client_height,
                             int panel_number, int flags, QMdiArea* area = nullptr);

// The rows of buttons at (x, y) of the panel's client; each returns the x
// after the row. panel_buttons_auto presses "Auto" by itself, once the panel
// is built and connected, when the preference `defaultpreview` is on.
int panel_buttons(TransformPanel* panel, int x, int y);
int panel_buttons_auto(TransformPanel* panel, int x, int y);
int panel_buttons_short(TransformPanel* panel, int x, int y);

// Moves the panel up and left until it lies inside its parent's client area,
// but never above or left of it.
void panel_keep_visible(TransformPanel* panel);
