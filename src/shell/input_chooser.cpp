#include "shell/input_chooser.h"

#include "core/preferences.h"
#include "shell/image_window.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>

namespace {

// A pop-up list that brings itself up to date before it opens.
class FreshCombo : public QComboBox {
public:
    FreshCombo(QWidget* parent, std::function<void()> before_popup)
        : QComboBox(parent), before_popup_(std::move(before_popup)) {}

    void showPopup() override {
        before_popup_();
        QComboBox::showPopup();
    }

private:
    std::function<void()> before_popup_;
};

}  // namespace

QString image_window_list_name(const ImageWindow* window) {
    if (window == nullptr || window->record() == nullptr) return {};
    return QString::fromStdString(
        window_title_base(*window->record(), preferences().displayfullpathname));
}

InputChooser::InputChooser(QWidget* parent, QMdiArea* area, const QString& label)
    : QWidget(parent), area_(area) {
    setObjectName(QStringLiteral("input_chooser"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    label_ = new QLabel(label, this);
    combo_ = new FreshCombo(this, [this] { refresh(); });
    combo_->setObjectName(QStringLiteral("input"));
    combo_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo_->setMinimumContentsLength(20);
    label_->setBuddy(combo_);
    layout->addWidget(label_);
    layout->addWidget(combo_, 1);
    connect(combo_, &QComboBox::activated, this, &InputChooser::chosen);
    refresh();
}

void InputChooser::set_filter(Filter filter) {
    filter_ = std::move(filter);
    refresh();
}

std::vector<ImageWindow*> InputChooser::candidates() const {
    std::vector<ImageWindow*> result;
    if (area_.isNull()) return result;
    for (QMdiSubWindow* sub : area_->subWindowList(QMdiArea::CreationOrder)) {
        ImageWindow* window = image_window_of(sub);
        if (window == nullptr || window->window_kind() != window_kind_image) continue;
        if (filter_ && !filter_(window)) continue;
        result.push_back(window);
    }
    return result;
}

void InputChooser::refresh() {
    const QSignalBlocker quiet(combo_);
    combo_->clear();
    listed_.clear();
    int current_index = -1;
    for (ImageWindow* window : candidates()) {
        if (window == current_.data()) current_index = static_cast<int>(listed_.size());
        combo_->addItem(image_window_list_name(window));
        listed_.emplace_back(window);
    }
    combo_->setCurrentIndex(current_index);
}

void InputChooser::set_current(ImageWindow* window) {
    current_ = window;
    refresh();
}

void InputChooser::chosen(int index) {
    if (index < 0 || index >= static_cast<int>(listed_.size())) return;
    ImageWindow* window = listed_[static_cast<std::size_t>(index)].data();
    if (window == nullptr || window == current_.data()) return;
    current_ = window;
    emit input_changed(window);
}
