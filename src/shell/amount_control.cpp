#include "shell/amount_control.h"

#include "core/format.h"
#include "core/image.h"
#include "shell/app_state.h"
#include "shell/image_window.h"
#include "shell/input_chooser.h"
#include "shell/panel_title_bar.h"

#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>

#include <algorithm>
#include <cstring>

namespace {

constexpr int amount_middle = 512;
constexpr int key_step = 8;
constexpr int page_step = 64;
constexpr int menu_picture_side = 32;

double percent(int value, bool bipolar) {
    return bipolar ? (value - amount_middle) * 200.0 / amount_full : value * 100.0 / amount_full;
}

bool is_mouse_press(const QEvent* event) {
    return event->type() == QEvent::MouseButtonPress ||
           event->type() == QEvent::MouseButtonDblClick;
}

}  // namespace

QString amount_caption(const AmountSettings& settings) {
    const bool bipolar = settings.bipolar != 0;
    std::string text;
    if (settings.amount_high >= 0)
        text =
            format_text("%s%1f\\% .. %1f\\%", settings.label, percent(settings.amount_low, bipolar),
                        percent(settings.amount_high, bipolar));
    else
        text = format_text("%s%1f\\%", settings.label, percent(settings.amount_low, bipolar));
    return QString::fromStdString(text);
}

int amount_gray_level(int amount_low) {
    return (amount_low * 255 + amount_middle) / amount_full;
}

QImage mask_thumbnail(const Image& image, int side) {
    if (image.type != image_type_gray8 || image.width <= 0 || image.height <= 0 || side <= 0)
        return {};
    const int longest = std::max(image.width, image.height);
    const int width =
        std::max(1, static_cast<int>(static_cast<long long>(image.width) * side / longest));
    const int height =
        std::max(1, static_cast<int>(static_cast<long long>(image.height) * side / longest));
    QImage picture(width, height, QImage::Format_Grayscale8);
    for (int y = 0; y < height; ++y) {
        // Line 0 of an Image is the bottom one.
        const int from_top = static_cast<int>(static_cast<long long>(y) * image.height / height);
        const std::uint8_t* line = image.rows[image.height - 1 - from_top];
        uchar* out = picture.scanLine(y);
        for (int x = 0; x < width; ++x)
            out[x] = line[static_cast<long long>(x) * image.width / width];
    }
    return picture;
}

// ---------------------------------------------------------------------------

AmountSlider::AmountSlider(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("amount_slider"));
    setFocusPolicy(Qt::StrongFocus);
}

QSize AmountSlider::sizeHint() const {
    return {fontMetrics().averageCharWidth() * 30, std::max(17, fontMetrics().height())};
}

QSize AmountSlider::minimumSizeHint() const {
    return {thumb_width() * 6, sizeHint().height()};
}

int AmountSlider::thumb_width() const {
    return std::max(7, height() * 3 / 5) | 1;
}

int AmountSlider::thumb_x(int thumb) const {
    const int half = thumb_width() / 2;
    const int span = std::max(1, width() - 2 * half - 1);
    return half + value_of(thumb) * span / amount_full;
}

int AmountSlider::value_at(int x) const {
    const int half = thumb_width() / 2;
    const int span = std::max(1, width() - 2 * half - 1);
    const int value = ((x - half) * amount_full + span / 2) / span;
    return std::clamp(value, 0, amount_full);
}

void AmountSlider::set_values(int low, int high) {
    low_ = low;
    high_ = high;
    if (high_ < 0) keyboard_thumb_ = 0;
    update();
}

void AmountSlider::set_thumb(int thumb, int value) {
    value = std::clamp(value, 0, amount_full);
    if (value_of(thumb) == value) return;
    (thumb == 0 ? low_ : high_) = value;
    update();
    emit moved(low_, high_);
}

void AmountSlider::paintEvent(QPaintEvent* event) {
    (void)event;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int half = thumb_width() / 2;
    const int mid = height() / 2;
    // The groove.
    const QRect groove(half, mid - 2, width() - 2 * half, 4);
    painter.setPen(palette().color(QPalette::Dark));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRect(groove);
    // The thumbs point down. With a mask the low thumb (black parts) is dark
    // and the high one (white parts) light.
    const int thumbs = high_ >= 0 ? 2 : 1;
    for (int thumb = 0; thumb < thumbs; ++thumb) {
        const qreal x = thumb_x(thumb) + 0.5;
        const qreal top = 1.5;
        const qreal bottom = height() - 1.5;
        const qreal shoulder = bottom - half;
        QPainterPath shape;
        shape.moveTo(x - half, top);
        shape.lineTo(x + half, top);
        shape.lineTo(x + half, shoulder);
        shape.lineTo(x, bottom);
        shape.lineTo(x - half, shoulder);
        shape.closeSubpath();
        QColor fill = palette().color(QPalette::Button);
        if (thumbs == 2) fill = thumb == 0 ? QColor(64, 64, 64) : QColor(Qt::white);
        painter.setBrush(fill);
        painter.setPen(hasFocus() && thumb == keyboard_thumb_ ? palette().color(QPalette::Highlight)
                                                              : palette().color(QPalette::Shadow));
        painter.drawPath(shape);
    }
}

void AmountSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    const int x = event->position().toPoint().x();
    int thumb = 0;
    if (high_ >= 0) {
        const int to_low = std::abs(x - thumb_x(0));
        const int to_high = std::abs(x - thumb_x(1));
        // Thumbs on one spot: the one last taken, so that it can be pulled apart again.
        thumb = to_low == to_high ? keyboard_thumb_ : (to_high < to_low ? 1 : 0);
    }
    dragging_ = thumb;
    keyboard_thumb_ = thumb;
    set_thumb(thumb, value_at(x));
    update();
}

void AmountSlider::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_ < 0) return;
    if ((event->buttons() & Qt::LeftButton) == 0) {
        dragging_ = -1;
        return;
    }
    set_thumb(dragging_, value_at(event->position().toPoint().x()));
}

void AmountSlider::mouseReleaseEvent(QMouseEvent* event) {
    (void)event;
    dragging_ = -1;
}

void AmountSlider::keyPressEvent(QKeyEvent* event) {
    const int value = value_of(keyboard_thumb_);
    switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Down:
            set_thumb(keyboard_thumb_, value - key_step);
            break;
        case Qt::Key_Right:
        case Qt::Key_Up:
            set_thumb(keyboard_thumb_, value + key_step);
            break;
        case Qt::Key_PageDown:
            set_thumb(keyboard_thumb_, value - page_step);
            break;
        case Qt::Key_PageUp:
            set_thumb(keyboard_thumb_, value + page_step);
            break;
        case Qt::Key_Home:
            set_thumb(keyboard_thumb_, 0);
            break;
        case Qt::Key_End:
            set_thumb(keyboard_thumb_, amount_full);
            break;
        case Qt::Key_Space:
            // Space changes which thumb the keys move.
            if (high_ >= 0) keyboard_thumb_ = 1 - keyboard_thumb_;
            update();
            break;
        default:
            QWidget::keyPressEvent(event);
    }
}

// ---------------------------------------------------------------------------

AmountSwatch::AmountSwatch(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("amount_swatch"));
    hint_timer_.setSingleShot(true);
    hint_timer_.setInterval(amount_hint_delay_ms);
    connect(&hint_timer_, &QTimer::timeout, this, &AmountSwatch::show_hint);
}

void AmountSwatch::show_mask(const QImage& picture) {
    picture_ = picture;
    update();
}

void AmountSwatch::show_gray(int level) {
    picture_ = QImage();
    gray_ = level;
    update();
}

void AmountSwatch::paintEvent(QPaintEvent* event) {
    (void)event;
    QPainter painter(this);
    const QRect inside = rect().adjusted(1, 1, -1, -1);
    painter.fillRect(rect(), palette().color(QPalette::Shadow));
    if (picture_.isNull()) {
        painter.fillRect(inside, QColor(gray_, gray_, gray_));
        return;
    }
    painter.fillRect(inside, palette().color(QPalette::Window));
    const QSize size = picture_.size().scaled(inside.size(), Qt::KeepAspectRatio);
    const QRect target(inside.left() + (inside.width() - size.width()) / 2,
                       inside.top() + (inside.height() - size.height()) / 2, size.width(),
                       size.height());
    painter.drawImage(target, picture_);
}

void AmountSwatch::mousePressEvent(QMouseEvent* event) {
    hint_timer_.stop();
    QToolTip::hideText();
    if (event->button() == Qt::LeftButton)
        emit left_pressed();
    else if (event->button() == Qt::RightButton)
        emit right_pressed();
}

void AmountSwatch::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    hint_timer_.start();
}

void AmountSwatch::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    hint_timer_.stop();
    QToolTip::hideText();
}

void AmountSwatch::show_hint() {
    QToolTip::showText(mapToGlobal(QPoint(0, height())), QString::fromLatin1(amount_mask_hint),
                       this);
}

// ---------------------------------------------------------------------------

AmountControl::AmountControl(QWidget* parent, QMdiArea* area)
    : QWidget(parent), area_(area != nullptr ? area : app_state.mdi_area) {
    // Owner of the mask's link, not a window of its own.
    window_kind = -1;
    setObjectName(QStringLiteral("amount_control"));
    caption_ = new QLabel(this);
    caption_->setObjectName(QStringLiteral("amount_caption"));
    slider_ = new AmountSlider(this);
    swatch_ = new AmountSwatch(this);
    const int gap = panel_ui_sizes(this).gap;
    const int side = caption_->sizeHint().height() + slider_->sizeHint().height() + gap / 2;
    swatch_->setFixedSize(side, side);

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setHorizontalSpacing(gap);
    layout->setVerticalSpacing(gap / 2);
    layout->addWidget(caption_, 0, 0);
    layout->addWidget(slider_, 1, 0);
    layout->addWidget(swatch_, 0, 1, 2, 1);
    layout->setColumnStretch(0, 1);

    for (QWidget* part : {static_cast<QWidget*>(caption_), static_cast<QWidget*>(slider_),
                          static_cast<QWidget*>(swatch_)})
        part->installEventFilter(this);
    installEventFilter(this);

    connect(slider_, &AmountSlider::moved, this, [this](int low, int high) {
        settings_.amount_low = low;
        settings_.amount_high = high;
        changed();
    });
    connect(swatch_, &AmountSwatch::left_pressed, this, &AmountControl::pop_up_masks);
    connect(swatch_, &AmountSwatch::right_pressed, this, &AmountControl::bring_mask_forward);
    show_settings();
}

AmountControl::~AmountControl() {
    link_remove_all(this);
}

QString AmountControl::caption() const {
    return caption_->text();
}

void AmountControl::show_settings() {
    caption_->setText(amount_caption(settings_));
    slider_->set_values(settings_.amount_low, settings_.amount_high);
    if (settings_.amount_mask != nullptr)
        swatch_->show_mask(mask_thumbnail(*settings_.amount_mask, swatch_->width()));
    else
        swatch_->show_gray(amount_gray_level(settings_.amount_low));
}

void AmountControl::changed() {
    show_settings();
    emit amount_changed(settings_);
}

void AmountControl::link_target_changed(WindowBase* target) {
    (void)target;
    // The swatch shows the mask's picture: show the new one.
    show_settings();
    emit mask_image_changed();
}

void AmountControl::link_mask(ImageWindow* window) {
    if (mask_.data() == window) return;
    if (!mask_.isNull()) {
        link_remove(this, mask_.data());
        disconnect(mask_.data(), &QObject::destroyed, this, nullptr);
    }
    mask_ = window;
    if (window == nullptr) return;
    link_add(this, window, amount_mask_link_name, true);
    // A mask window taken away by force (the frame going) leaves no mask behind.
    connect(window, &QObject::destroyed, this, [this] {
        settings_.amount_mask = nullptr;
        settings_.amount_mask_window = nullptr;
        settings_.amount_high = -1;
        changed();
    });
}

void AmountControl::set_settings(const AmountSettings& settings) {
    neutral_ = false;
    settings_ = settings;
    settings_.label[amount_label_max] = '\0';
    link_mask(dynamic_cast<ImageWindow*>(settings.amount_mask_window));
    show_settings();
}

bool AmountControl::fits(const ImageWindow* window) const {
    if (!mask_size_.isValid()) return true;
    const Image& image = window->record()->image;
    return image.width == mask_size_.width() && image.height == mask_size_.height();
}

void AmountControl::set_mask_size(int width, int height) {
    const QSize size = width > 0 && height > 0 ? QSize(width, height) : QSize();
    if (size == mask_size_) return;
    mask_size_ = size;
    if (!mask_.isNull() && !fits(mask_.data())) choose_mask(nullptr);
}

std::vector<ImageWindow*> AmountControl::mask_candidates() const {
    std::vector<ImageWindow*> result;
    if (area_.isNull()) return result;
    for (QMdiSubWindow* sub : area_->subWindowList(QMdiArea::CreationOrder)) {
        ImageWindow* window = image_window_of(sub);
        if (window == nullptr || window->window_kind() != window_kind_image) continue;
        if (window->owner_window() != nullptr) continue;
        if (window->record()->image.type != image_type_gray8 || !fits(window)) continue;
        result.push_back(window);
    }
    return result;
}

void AmountControl::choose_mask(ImageWindow* window) {
    neutral_ = false;
    if (window == nullptr) {
        settings_.amount_low = amount_full;
        settings_.amount_high = -1;
        settings_.amount_mask = nullptr;
        settings_.amount_mask_window = nullptr;
    } else {
        const bool bipolar = settings_.bipolar != 0;
        settings_.amount_low = bipolar ? amount_middle : 0;
        settings_.amount_high = bipolar ? amount_middle : amount_full;
        settings_.amount_mask = &window->record()->image;
        settings_.amount_mask_window = window;
    }
    link_mask(window);
    changed();
}

void AmountControl::pop_up_masks() {
    const std::vector<ImageWindow*> candidates = mask_candidates();
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("amount_masks"));
    QAction* none = menu.addAction(QStringLiteral("No Mask"));
    std::vector<std::pair<QAction*, QPointer<ImageWindow>>> offered;
    for (ImageWindow* window : candidates) {
        const QImage picture = mask_thumbnail(window->record()->image, menu_picture_side);
        QAction* action =
            menu.addAction(QIcon(QPixmap::fromImage(picture)), image_window_list_name(window));
        offered.emplace_back(action, window);
    }
    // Pictures of masks need more room than the usual menu icons.
    menu.setStyleSheet(QStringLiteral("QMenu { icon-size: %1px; }").arg(menu_picture_side));
    QAction* chosen = menu.exec(swatch_->mapToGlobal(QPoint(0, swatch_->height())));
    if (chosen == nullptr) return;
    if (chosen == none) {
        choose_mask(nullptr);
        return;
    }
    for (const auto& [action, window] : offered) {
        if (action == chosen && !window.isNull()) choose_mask(window.data());
    }
}

void AmountControl::bring_mask_forward() {
    if (mask_.isNull()) return;
    if (QMdiSubWindow* sub = mask_->sub_window(); sub != nullptr && !area_.isNull())
        area_->setActiveSubWindow(sub);
    else
        mask_->setFocus();
}

bool AmountControl::mouse_press(QObject* watched, QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return false;
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    if ((modifiers & Qt::ShiftModifier) != 0) {
        // The neutral setting while the button is held: before and after.
        if (!neutral_) {
            before_neutral_ = settings_;
            neutral_ = true;
            settings_.amount_low = settings_.bipolar != 0 ? amount_middle : 0;
            settings_.amount_high = -1;
            changed();
        }
        return true;
    }
    if ((modifiers & Qt::ControlModifier) != 0) {
        settings_.amount_low = amount_full - settings_.amount_low;
        if (settings_.amount_high >= 0) settings_.amount_high = amount_full - settings_.amount_high;
        swallow_release_ = true;
        changed();
        return true;
    }
    // The second press of a double click on the swatch would open the list again.
    return watched == swatch_ && event->type() == QEvent::MouseButtonDblClick;
}

bool AmountControl::mouse_release(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return false;
    if (neutral_) {
        neutral_ = false;
        settings_ = before_neutral_;
        changed();
        return true;
    }
    if (swallow_release_) {
        swallow_release_ = false;
        return true;
    }
    return false;
}

bool AmountControl::eventFilter(QObject* watched, QEvent* event) {
    if (is_mouse_press(event)) return mouse_press(watched, static_cast<QMouseEvent*>(event));
    if (event->type() == QEvent::MouseButtonRelease)
        return mouse_release(static_cast<QMouseEvent*>(event));
    return QWidget::eventFilter(watched, event);
}
