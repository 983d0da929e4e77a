#include "shell/main_frame.h"

#include "shell/app_state.h"
#include "shell/close_sequence.h"
#include "shell/command_dispatch.h"
#include "shell/command_table.h"
#include "shell/file_open_queue.h"
#include "shell/single_instance.h"
#include "shell/splash_panel.h"

#include <QAction>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QMimeData>
#include <QUrl>

#include <map>

namespace {

QStringList local_files(const QMimeData* data) {
    QStringList paths;
    if (data == nullptr) return paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) paths.append(url.toLocalFile());
    }
    return paths;
}

}  // namespace

MainFrame::MainFrame(QWidget* parent) : QMainWindow(parent), area_(new QMdiArea(this)) {
    setWindowTitle(QString::fromLatin1(frame_title));
    setObjectName(QStringLiteral("frame"));
    area_->setObjectName(QStringLiteral("mdi_area"));
    setCentralWidget(area_);
    setAcceptDrops(true);
    app_state.main_window = this;
    app_state.mdi_area = area_;
    build_menus();
    // A window coming up in the work area is activity: the splash goes.
    connect(area_, &QMdiArea::subWindowActivated, this, [](QMdiSubWindow* window) {
        if (window != nullptr) {
            splash_close();
            app_state.active_window = window;
        }
    });
}

MainFrame::~MainFrame() {
    if (app_state.main_window == this) {
        app_state.main_window = nullptr;
        app_state.mdi_area = nullptr;
    }
}

void MainFrame::build_menus() {
    std::map<MenuId, QMenu*> menu_of;
    const MenuId order[] = {MenuId::file,  MenuId::edit,   MenuId::transformations,
                            MenuId::tools, MenuId::window, MenuId::help};
    for (MenuId id : order) {
        QMenu* menu = menuBar()->addMenu(QString::fromLatin1(menu_title(id)));
        menu->setObjectName(QString::fromLatin1(menu_title(id)).remove(QLatin1Char('&')));
        menu_of[id] = menu;
    }
    // The mask tool's submenu follows the tools.
    auto* mask = new QMenu(QString::fromLatin1(menu_title(MenuId::mask)), menu_of[MenuId::tools]);
    mask->setObjectName(QStringLiteral("Mask"));
    menu_of[MenuId::mask] = mask;

    for (const CommandEntry& entry : command_table) {
        if (entry.label == nullptr || entry.menu == MenuId::none) continue;
        QMenu* menu = menu_of[entry.menu];
        if (entry.group_start && !menu->isEmpty()) menu->addSeparator();
        QAction* action = menu->addAction(QString::fromLatin1(entry.label));
        action->setData(entry.number);
        if (entry.shortcut[0] != '\0')
            action->setShortcut(QKeySequence(QString::fromLatin1(entry.shortcut)));
        action->setEnabled(command_available(entry.number));
        const int number = entry.number;
        connect(action, &QAction::triggered, this,
                [this, number] { command_dispatch(this, number); });
    }
    menu_of[MenuId::tools]->addSeparator();
    menu_of[MenuId::tools]->addMenu(mask);

    recent_files_anchor_ = menu_of[MenuId::file]->addSeparator();
    recent_files_anchor_->setObjectName(QStringLiteral("recent_files_insertion_point"));
    recent_files_anchor_->setVisible(false);
}

QList<QMenu*> MainFrame::menus() const {
    QList<QMenu*> result;
    for (QAction* action : menuBar()->actions()) {
        if (action->menu() != nullptr) result.append(action->menu());
    }
    return result;
}

QAction* MainFrame::command_action(int number) const {
    for (QAction* action : findChildren<QAction*>()) {
        if (action->menu() == nullptr && !action->isSeparator() && action->data().isValid() &&
            action->data().toInt() == number)
            return action;
    }
    return nullptr;
}

void MainFrame::come_to_front() {
    if (isMinimized()) showNormal();
    show();
    raise();
    activateWindow();
}

void MainFrame::serve_hand_overs(InstanceServer* server) {
    connect(server, &InstanceServer::open_requested, this,
            [](const QString& line) { open_command_line(line); });
    connect(server, &InstanceServer::raise_requested, this, &MainFrame::come_to_front);
}

void MainFrame::closeEvent(QCloseEvent* event) {
    if (frame_close_sequence())
        event->accept();
    else
        event->ignore();
}

void MainFrame::dragEnterEvent(QDragEnterEvent* event) {
    if (!local_files(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void MainFrame::dropEvent(QDropEvent* event) {
    const QStringList paths = local_files(event->mimeData());
    if (paths.isEmpty()) return;
    event->acceptProposedAction();
    open_dropped_files(paths);
}
