#include "shell/transform_host.h"

#include "core/errors.h"
#include "core/preferences.h"
#include "shell/amount_control.h"
#include "shell/app_state.h"
#include "shell/crop_drawing.h"
#include "shell/file_open_queue.h"
#include "shell/image_window.h"
#include "shell/panel_title_bar.h"
#include "shell/transform_panel.h"
#include "shell/transform_panel_builder.h"
#include "transform/registry.h"

#include <QCheckBox>
#include <QColorSpace>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QPushButton>
#include <QStyle>

#include <memory>
#include <vector>

namespace {

// No image window to work on.
constexpr int err_no_image = 77;

ImageWindow* image_window(WindowBase* window) {
    return dynamic_cast<ImageWindow*>(window);
}

QMdiSubWindow* sub_window(WindowBase* window) {
    ImageWindow* image = image_window(window);
    return image ? image->sub_window() : nullptr;
}

// A region of the view counted from its top left, in the Image numbering of
// the screen copy (line 0 at the bottom), and back.
TransformRegion to_image_lines(const QRect& rect, int view_height) {
    return {rect.left(), view_height - 1 - rect.bottom(), rect.right(),
            view_height - 1 - rect.top()};
}

QRect to_view_rect(const TransformRegion& region, int view_height) {
    return QRect(QPoint(region.x1, view_height - 1 - region.y2),
                 QPoint(region.x2, view_height - 1 - region.y1));
}

// What the window's frame and its borders add around the view.
QSize window_frame(const QMdiArea* area) {
    const QStyle* style = area->style();
    const int frame = style->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth, nullptr, area);
    const int title = style->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, area);
    const int border = 2 * preferences().border_width;
    return {2 * frame + border, 2 * frame + title + border};
}

// The preview scrolled or changed its view: the driver computes what is new.
// A stale preview is computed whole, so that no strip of new settings stands
// beside old ones.
void preview_view_changed(ImageWindow* window, const std::vector<QRect>& parts) {
    if (window != transform_state().preview_window || parts.empty()) return;
    const WindowRecord* record = window->record();
    const int height = record->view_height;
    if (transform_state().preview_stale) {
        transform_view_changed({0, 0, record->view_width - 1, height - 1});
        return;
    }
    for (const QRect& part : parts)
        transform_view_changed(to_image_lines(part, height));
}

std::unique_ptr<ShellTransformHost>& installed() {
    static std::unique_ptr<ShellTransformHost> host;
    return host;
}

}  // namespace

ShellTransformHost::ShellTransformHost(QMdiArea* area) : area_(area) {}

void ShellTransformHost::set_area(QMdiArea* area) {
    area_ = area;
}

// ---------------------------------------------------------------------------
// The panel

int ShellTransformHost::panel_create(const TransformDescriptor& descriptor, void* params,
                                     WindowBase** panel) {
    TransformPanel* made = transform_panel_build(descriptor, params, area_.data());
    if (made == nullptr) return err_memory;
    panel_ = made;
    if (descriptor.title == "Crop/Add Border") crop_drawing_attach(made, area_.data());
    made->show();
    made->activate();
    *panel = made;
    return 0;
}

void ShellTransformHost::panel_layout(WindowBase* panel, int image_type, int width, int height) {
    transform_panel_layout(dynamic_cast<TransformPanel*>(panel), image_type, width, height);
}

void ShellTransformHost::panel_destroy(WindowBase* panel) {
    auto* widget = dynamic_cast<TransformPanel*>(panel);
    if (widget == nullptr) return;
    // The panel may be the sender of the press that closes it: it goes once
    // the event loop has it back. It counts as closed from now on, so that
    // the files waiting for it can open.
    widget->hide();
    // Its amount masks are free at once: the close of the frame or of a mask
    // window may ask them before the panel is gone.
    for (AmountControl* amount : widget->findChildren<AmountControl*>())
        link_remove_all(amount);
    std::erase_if(app_state.panels,
                  [widget](const QPointer<QWidget>& open) { return open.data() == widget; });
    widget->deleteLater();
    if (panel_ == widget) panel_ = nullptr;
}

void ShellTransformHost::button_enable(TransformButton button, bool enabled) {
    PanelButtonRow* row = panel_ ? panel_->button_row() : nullptr;
    if (row == nullptr) return;
    QWidget* widget = nullptr;
    switch (button) {
        case TransformButton::auto_preview:
            widget = row->auto_box();
            break;
        case TransformButton::preview:
            widget = row->preview_button();
            break;
        case TransformButton::apply:
            widget = row->apply_button();
            break;
        case TransformButton::ok:
            widget = row->ok_button();
            break;
        case TransformButton::cancel:
            widget = row->cancel_button();
            break;
    }
    if (widget) widget->setEnabled(enabled);
}

void ShellTransformHost::button_check(TransformButton button, bool checked) {
    PanelButtonRow* row = panel_ ? panel_->button_row() : nullptr;
    if (row == nullptr || button != TransformButton::auto_preview || row->auto_box() == nullptr)
        return;
    row->auto_box()->setChecked(checked);
}

// ---------------------------------------------------------------------------
// Preview and result windows

PreviewArea ShellTransformHost::preview_area(WindowBase*) {
    PreviewArea area;
    if (area_.isNull()) return area;
    const QSize room = area_->viewport()->size();
    const QSize frame = window_frame(area_.data());
    area.width = room.width();
    area.height = room.height();
    area.frame_width = frame.width();
    area.frame_height = frame.height();
    area.main_area = true;
    return area;
}

int ShellTransformHost::window_create(WindowRecord* record, const PreviewPlan& plan,
                                      WindowBase* input, bool for_apply, WindowBase** window) {
    if (area_.isNull()) return err_no_image;
    auto* made = new ImageWindow(record->slot, record);
    // The title says "Preview" until the window becomes a result.
    made->WindowBase::window_kind = window_kind_preview;
    if (!for_apply) {
        const WindowRecord* in = window_record_of(input);
        // The output's size, which the driver planned: not the input's when
        // the transformation makes another (Resize, Crop/Add Border).
        const int width = record->image_x2 + 1;
        const int height = record->image_y2 + 1;
        const int type = in ? preview_type_of(in->image.type) : 0;
        QPointer<ImageWindow> guard(made);
        ImageWindow::PreviewHooks hooks;
        hooks.view_changed = [guard](const std::vector<QRect>& parts) {
            if (guard) preview_view_changed(guard.data(), parts);
        };
        hooks.closed = [guard] {
            if (guard) transform_preview_closed(guard.data());
        };
        made->make_preview(width, height, type, std::move(hooks));
    }
    QMdiSubWindow* sub = area_->addSubWindow(made);
    sub->setAttribute(Qt::WA_DeleteOnClose);
    sub->move(plan.position.x, plan.position.y);
    if (!for_apply) sub->show();
    // The preview shows the whole reduced input: its view is the plan's, and
    // the window keeps inside the area.
    made->set_zoom(plan.zoom, true);
    made->update_title();
    *window = made;
    return 0;
}

void ShellTransformHost::window_destroy(WindowBase* window) {
    QMdiSubWindow* sub = sub_window(window);
    if (sub == nullptr) return;
    // Gone from the area at once; the widget itself when the event loop has
    // it back, since the call may come from inside one of its own handlers.
    sub->hide();
    if (QMdiArea* area = sub->mdiArea()) area->removeSubWindow(sub);
    sub->deleteLater();
}

void ShellTransformHost::window_activate(WindowBase* window) {
    if (auto* panel = dynamic_cast<TransformPanel*>(window)) {
        panel->activate();
        return;
    }
    QMdiSubWindow* sub = sub_window(window);
    if (sub == nullptr || !sub->isVisible() || sub->mdiArea() == nullptr) return;
    sub->mdiArea()->setActiveSubWindow(sub);
}

bool ShellTransformHost::window_in_main_area(WindowBase*) {
    // Workflow windows and the raw converter, which keep previews of their
    // own, don't exist yet: every window lies in the work area.
    return true;
}

void ShellTransformHost::window_display_update(WindowBase* window, const TransformRegion& region) {
    ImageWindow* image = image_window(window);
    if (image == nullptr) return;
    image->preview_computed(to_view_rect(region, image->record()->view_height));
}

void ShellTransformHost::window_redraw(WindowBase* window) {
    if (ImageWindow* image = image_window(window)) image->viewport()->update();
}

int ShellTransformHost::window_fit(WindowBase* window) {
    ImageWindow* image = image_window(window);
    if (image == nullptr) return 0;
    image->set_zoom(image->record()->zoom, true);
    return 0;
}

void ShellTransformHost::window_show(WindowBase* window) {
    if (QMdiSubWindow* sub = sub_window(window)) sub->show();
}

void ShellTransformHost::window_retitle(WindowBase* window) {
    if (ImageWindow* image = image_window(window)) image->update_title();
}

PreviewPoint ShellTransformHost::window_position(WindowBase* window) {
    QMdiSubWindow* sub = sub_window(window);
    return sub ? PreviewPoint{sub->x(), sub->y()} : PreviewPoint{};
}

void ShellTransformHost::window_move(WindowBase* window, PreviewPoint position) {
    if (QMdiSubWindow* sub = sub_window(window)) sub->move(position.x, position.y);
}

PreviewPoint ShellTransformHost::cascade_step() {
    const QWidget* reference = area_.isNull() ? nullptr : area_.data();
    const UiSizes sizes = reference ? panel_ui_sizes(reference) : app_state.sizes;
    const int title =
        reference ? reference->style()->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, reference)
                  : sizes.line_height;
    return {sizes.button_height / 4, title};
}

void ShellTransformHost::window_request_one_to_one(WindowBase* window) {
    QPointer<ImageWindow> image(image_window(window));
    if (image.isNull()) return;
    // Posted: this comes from inside the computation. The window keeps its
    // size; the change of zoom makes it ask for its whole view.
    QMetaObject::invokeMethod(
        image.data(),
        [image] {
            if (image) image->set_zoom(1, false);
        },
        Qt::QueuedConnection);
}

bool ShellTransformHost::window_request_rerun(WindowBase* window) {
    QPointer<ImageWindow> image(image_window(window));
    if (image.isNull()) return false;
    QMetaObject::invokeMethod(
        image.data(),
        [image] {
            if (!image || image.data() != transform_state().preview_window) return;
            const WindowRecord* record = image->record();
            transform_view_changed({0, 0, record->view_width - 1, record->view_height - 1});
        },
        Qt::QueuedConnection);
    return true;
}

void ShellTransformHost::run_open_queue() {
    open_queued_files();
}

// ---------------------------------------------------------------------------

void transform_host_install(QMdiArea* area) {
    std::unique_ptr<ShellTransformHost>& host = installed();
    if (host) {
        host->set_area(area);
        return;
    }
    host = std::make_unique<ShellTransformHost>(area);
    transform_set_host(host.get());
}

bool transform_menu_command(QMdiArea* area, int number) {
    const TransformEntry* entry = transform_find_command(number);
    if (entry == nullptr || entry->descriptor == nullptr) return false;
    if (transform_state().panel_window != nullptr) {
        // One panel at a time: the open one comes forward.
        if (TransformHost* host = transform_host())
            host->window_activate(transform_state().panel_window);
        return true;
    }
    transform_host_install(area);
    ImageWindow* input = image_window_active(area);
    if (input != nullptr && input->window_kind() != window_kind_image) input = nullptr;
    if (input == nullptr && entry->inputs_min > 0) {
        error_report(err_no_image);
        return true;
    }
    error_report(transform_open(*entry->descriptor, input));
    return true;
}

void ShellTransformHost::panel_placement_save(WindowBase* panel,
                                              const TransformDescriptor& descriptor) {
    if (auto* widget = dynamic_cast<TransformPanel*>(panel))
        placements_[&descriptor] = widget->pos();
}

void ShellTransformHost::panel_placement_restore(WindowBase* panel,
                                                 const TransformDescriptor& descriptor) {
    auto* widget = dynamic_cast<TransformPanel*>(panel);
    const auto found = placements_.find(&descriptor);
    if (!widget || found == placements_.end()) return;
    widget->move(found->second);
    // The frame may have shrunk since.
    panel_keep_visible(widget);
}

std::vector<std::uint8_t> ShellTransformHost::working_profile() {
    const QByteArray icc = QColorSpace(QColorSpace::SRgb).iccProfile();
    return {icc.begin(), icc.end()};
}
