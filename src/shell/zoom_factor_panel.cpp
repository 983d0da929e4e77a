#include "shell/zoom_factor_panel.h"

#include "shell/image_window.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <cstdlib>

namespace {

// The check is remembered for the session.
bool resize_last = false;

}  // namespace

ZoomFactorPanel::ZoomFactorPanel(int zoom, bool resize, QWidget* parent)
    : QDialog(parent),
      factor_(new QSpinBox),
      enlarge_(new QRadioButton(QStringLiteral("&Enlarge (n:1)"))),
      reduce_(new QRadioButton(QStringLiteral("R&educe (1:n)"))),
      resize_(new QCheckBox(QStringLiteral("&Resize window"))) {
    setWindowTitle(QStringLiteral("Zoom Factor"));
    setObjectName(QStringLiteral("zoom_factor_panel"));
    factor_->setObjectName(QStringLiteral("factor"));
    factor_->setRange(1, zoom_factor_max);
    factor_->setValue(std::abs(zoom));
    enlarge_->setObjectName(QStringLiteral("enlarge"));
    reduce_->setObjectName(QStringLiteral("reduce"));
    (zoom < 0 ? reduce_ : enlarge_)->setChecked(true);
    resize_->setObjectName(QStringLiteral("resize"));
    resize_->setChecked(resize);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Factor:"), factor_);
    auto* direction = new QHBoxLayout;
    direction->addWidget(enlarge_);
    direction->addWidget(reduce_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(direction);
    layout->addWidget(resize_);
    layout->addWidget(buttons);
}

int ZoomFactorPanel::zoom() const {
    const int n = factor_->value();
    if (n <= 1) return 1;
    return reduce_->isChecked() ? -n : n;
}

bool ZoomFactorPanel::resize_window() const {
    return resize_->isChecked();
}

void zoom_factor_run(ImageWindow* window) {
    if (window == nullptr) return;
    ZoomFactorPanel panel(window->record()->zoom, resize_last, window);
    if (panel.exec() != QDialog::Accepted) return;
    resize_last = panel.resize_window();
    window->set_zoom(panel.zoom(), panel.resize_window());
}
