#include "shell/main_frame.h"

#include "core/preferences.h"
#include "shell/app_state.h"
#include "shell/close_sequence.h"
#include "shell/command_dispatch.h"
#include "shell/command_table.h"
#include "shell/file_open_queue.h"
#include "shell/image_window.h"
#include "shell/mask_tool.h"
#include "shell/recent_files.h"
#include "shell/single_instance.h"
#include "shell/splash_panel.h"
#include "transform/registry.h"

#include <QAction>
#include <QCloseEvent>
#include <QColor>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QUrl>

#include <algorithm>
#include <map>
#include <vector>

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
    rebuild_recent_files();
    apply_preferences();
    connect(&shell_signals(), &ShellSignals::recent_files_changed, this,
            &MainFrame::rebuild_recent_files);
    connect(&shell_signals(), &ShellSignals::preferences_changed, this,
            &MainFrame::apply_preferences);
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

    const auto add_command = [this](QMenu* menu, const CommandEntry& entry) {
        QAction* action = menu->addAction(QString::fromLatin1(entry.label));
        action->setData(entry.number);
        if (entry.shortcut[0] != '\0')
            action->setShortcut(QKeySequence(QString::fromLatin1(entry.shortcut)));
        action->setEnabled(command_available(entry.number));
        const int number = entry.number;
        connect(action, &QAction::triggered, this,
                [this, number] { command_dispatch(this, number); });
        if (number >= 6001 && number <= 6009) {
            // A tool's entry is ticked while it is the current tool.
            action->setCheckable(true);
            connect(&shell_signals(), &ShellSignals::tool_changed, action,
                    [action, number](int code) { action->setChecked(code == number); });
        }
    };
    for (const CommandEntry& entry : command_table) {
        if (entry.label == nullptr || entry.menu == MenuId::none) continue;
        // The catalogue places the transformations, below.
        if (entry.menu == MenuId::transformations && transform_find_command(entry.number)) continue;
        QMenu* menu = menu_of[entry.menu];
        if (entry.group_start && !menu->isEmpty()) menu->addSeparator();
        add_command(menu, entry);
    }
    // The Transformations menu: a submenu per group of the catalogue, in its
    // order, then the entries of the top level; each group in its own order.
    const TransformGroup groups[] = {
        TransformGroup::geometry,        TransformGroup::gray,
        TransformGroup::color,           TransformGroup::sharpen_blur_noise,
        TransformGroup::special_effects, TransformGroup::top_level};
    for (TransformGroup group : groups) {
        std::vector<const TransformEntry*> members;
        for (const TransformEntry& entry : transform_registry())
            if (entry.group == group && command_find(entry.command) != nullptr &&
                command_find(entry.command)->label != nullptr)
                members.push_back(&entry);
        std::stable_sort(members.begin(), members.end(),
                         [](const TransformEntry* a, const TransformEntry* b) {
                             return a->menu_order < b->menu_order;
                         });
        QMenu* menu = menu_of[MenuId::transformations];
        if (group != TransformGroup::top_level) {
            const QString title =
                QString::fromLatin1(transform_group_title(group).data(),
                                    static_cast<qsizetype>(transform_group_title(group).size()));
            menu = menu->addMenu(title);
            menu->setObjectName(QString(title).remove(QLatin1Char('&')));
        }
        for (const TransformEntry* entry : members)
            add_command(menu, *command_find(entry->command));
    }
    menu_of[MenuId::tools]->addSeparator();
    menu_of[MenuId::tools]->addMenu(mask);
    // The masks kept by the tool follow "New", listed anew each time the menu opens.
    connect(mask, &QMenu::aboutToShow, this, [this, mask] {
        for (QAction* action : mask->actions())
            if (action->property("recent_mask").toBool()) delete action;
        for (int i = 0; i < mask_recent_count(); ++i) {
            auto* action = mask->addAction(mask_recent_label(i));
            action->setProperty("recent_mask", true);
            const int number = mask_new_command + 1 + i;
            action->setData(number);
            connect(action, &QAction::triggered, this,
                    [this, number] { command_dispatch(this, number); });
        }
    });

    recent_files_anchor_ = menu_of[MenuId::file]->addSeparator();
    recent_files_anchor_->setObjectName(QStringLiteral("recent_files_insertion_point"));
    recent_files_anchor_->setVisible(false);
}

void MainFrame::rebuild_recent_files() {
    for (QAction* action : recent_file_actions_)
        delete action;
    recent_file_actions_.clear();
    QMenu* file = menus().value(0);
    if (file == nullptr || recent_files_anchor_ == nullptr) return;

    // The entries go right after the separator, newest first.
    const QList<QAction*> existing = file->actions();
    const qsizetype anchor_at = existing.indexOf(recent_files_anchor_);
    QAction* before = existing.value(anchor_at + 1, nullptr);
    const int shown = recent_files_shown();
    for (int i = 0; i < shown; ++i) {
        const int number = recent_file_first + i;
        auto* action = new QAction(recent_file_label(i, recent_file_path(i)), file);
        action->setData(number);
        connect(action, &QAction::triggered, this,
                [this, number] { command_dispatch(this, number); });
        file->insertAction(before, action);
        recent_file_actions_.append(action);
    }
    recent_files_anchor_->setVisible(shown > 0);
}

void MainFrame::apply_preferences() {
    const Rgb8& c = preferences().workspace;
    area_->setBackground(QColor(c.red, c.green, c.blue));
    // Open windows take the new border, reduction and title form at once.
    for (QMdiSubWindow* sub : area_->subWindowList()) {
        if (ImageWindow* window = image_window_of(sub)) {
            window->layout_view();
            window->update_title();
        }
    }
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
