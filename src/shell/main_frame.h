// The editor's frame: the work area for image windows and panels, the menus,
// the close sequence and file drops.
#pragma once

#include <QMainWindow>

class InstanceServer;
class QAction;
class QMdiArea;
class QMenu;

class MainFrame : public QMainWindow {
    Q_OBJECT
public:
    explicit MainFrame(QWidget* parent = nullptr);
    ~MainFrame() override;

    QMdiArea* area() const { return area_; }

    // The menu action of a command number, or null.
    QAction* command_action(int number) const;
    // The menus of the menu bar, in order.
    QList<QMenu*> menus() const;
    // Recent files (numbers 1100 to 1109) go after this separator at the end
    // of the File menu; it stays hidden while there are none.
    QAction* recent_files_insertion_point() const { return recent_files_anchor_; }

    // Brings the frame to the front, as a second start asks.
    void come_to_front();
    // Opens what later starts hand over through `server` and comes to the front.
    void serve_hand_overs(InstanceServer* server);

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void build_menus();

    QMdiArea* area_;
    QAction* recent_files_anchor_ = nullptr;
};
