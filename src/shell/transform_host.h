// The editor's side of the transformation driver: previews and results are
// image windows of the work area, panels are built from each transformation's
// field table, and errors go to the message boxes.
#pragma once

#include "shell/transform_panel.h"
#include "transform/driver.h"

#include <QPoint>
#include <QPointer>

#include <map>
#include <vector>

class ImageWindow;
#include <QMdiArea>

class ShellTransformHost : public TransformHost {
public:
    explicit ShellTransformHost(QMdiArea* area);

    void set_area(QMdiArea* area);
    QMdiArea* area() const { return area_.data(); }
    // The open panel, or null.
    TransformPanel* panel() const { return panel_.data(); }

    int panel_create(const TransformDescriptor& descriptor, void* params,
                     WindowBase** panel) override;
    void panel_layout(WindowBase* panel, int image_type, int width, int height) override;
    void panel_destroy(WindowBase* panel) override;
    void button_enable(TransformButton button, bool enabled) override;
    void button_check(TransformButton button, bool checked) override;

    PreviewArea preview_area(WindowBase* input) override;
    int window_create(WindowRecord* record, const PreviewPlan& plan, WindowBase* input,
                      bool for_apply, WindowBase** window) override;
    void window_destroy(WindowBase* window) override;
    void window_activate(WindowBase* window) override;
    bool window_in_main_area(WindowBase* window) override;
    void window_display_update(WindowBase* window, const TransformRegion& region) override;
    void window_redraw(WindowBase* window) override;
    int window_fit(WindowBase* window) override;
    void window_show(WindowBase* window) override;
    void window_retitle(WindowBase* window) override;
    PreviewPoint window_position(WindowBase* window) override;
    void window_move(WindowBase* window, PreviewPoint position) override;
    PreviewPoint cascade_step() override;
    void window_request_one_to_one(WindowBase* window) override;
    bool window_request_rerun(WindowBase* window) override;
    void run_open_queue() override;
    void panel_placement_save(WindowBase* panel, const TransformDescriptor& descriptor) override;
    void panel_placement_restore(WindowBase* panel, const TransformDescriptor& descriptor) override;
    // sRGB until colour management chooses a working space.
    std::vector<std::uint8_t> working_profile() override;

private:
    QPointer<QMdiArea> area_;
    QPointer<TransformPanel> panel_;
    // Where each transformation's panel stood when it last closed, this run.
    std::map<const TransformDescriptor*, QPoint> placements_;
};

// Installs the editor's host for `area` (once; later calls move it to the new area).
void transform_host_install(QMdiArea* area);

// Opens the panel of the transformation behind a menu command on the active
// image window. A panel already open is brought to the front instead, and
// with no image window to work on the refusal is shown. True when `number` is
// a transformation command that is built, whatever came of it.
bool transform_menu_command(QMdiArea* area, int number);
