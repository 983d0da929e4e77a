#include "shell/new_image_panel.h"

#include "core/errors.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/settings.h"

#include "shell/app_state.h"
#include "shell/image_window.h"
#include "shell/message_box.h"
#include "shell/preferences_panel.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMainWindow>
#include <QMdiArea>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <optional>
#include <vector>

namespace {

// The types a new picture may have, in the order of the list.
constexpr int type_choices[] = {image_type_binary, image_type_gray8, image_type_colour8,
                                image_type_gray16, image_type_colour16};
constexpr const char* type_labels[] = {"Binary", "Grayscale", "Color", "16-bit Grayscale",
                                       "16-bit Color"};

std::optional<NewImageSettings>& last_settings() {
    static std::optional<NewImageSettings> last;
    return last;
}

bool read_number(const QLineEdit* edit, double* value) {
    return parse_real(edit->text().trimmed().toStdString(), *value);
}

QString number_text(double value) {
    return QString::number(value, 'g', 10);
}

}  // namespace

int new_image_side(double value, int units, double resolution) {
    double pixels = value;
    if (units == units_inches) pixels = value * resolution;
    if (units == units_centimetres) pixels = value * resolution / 2.54;
    if (!(pixels >= 0.5) || pixels >= new_image_side_max + 0.5) return 0;
    return static_cast<int>(std::lround(pixels));
}

int new_image_make(const NewImageSettings& s, Image* picture) {
    const int w = new_image_side(s.width, s.units, s.resolution);
    const int h = new_image_side(s.height, s.units, s.resolution);
    if (w == 0 || h == 0) return err_illegal_type;
    if (int code = image_alloc(picture, s.type, w, h, s.resolution)) return code;
    const int gray = luminance8(s.colour.red, s.colour.green, s.colour.blue);
    // One line in the picture's layout, copied to all the others.
    std::vector<std::uint8_t> line(static_cast<std::size_t>(image_line_bytes(picture)));
    switch (s.type) {
        case image_type_binary:
            std::fill(line.begin(), line.end(), gray >= 128 ? 0xFF : 0x00);
            break;
        case image_type_gray8:
            std::fill(line.begin(), line.end(), static_cast<std::uint8_t>(gray));
            break;
        case image_type_gray16:
            for (int x = 0; x < w; ++x) {
                line[2 * x] = static_cast<std::uint8_t>(to16[gray] & 0xFF);
                line[2 * x + 1] = static_cast<std::uint8_t>(to16[gray] >> 8);
            }
            break;
        case image_type_colour8:
            for (int x = 0; x < w; ++x) {
                line[3 * x] = static_cast<std::uint8_t>(s.colour.blue);
                line[3 * x + 1] = static_cast<std::uint8_t>(s.colour.green);
                line[3 * x + 2] = static_cast<std::uint8_t>(s.colour.red);
            }
            break;
        case image_type_colour16: {
            const int bgr[3] = {s.colour.blue, s.colour.green, s.colour.red};
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 3; ++c) {
                    line[6 * x + 2 * c] = static_cast<std::uint8_t>(to16[bgr[c]] & 0xFF);
                    line[6 * x + 2 * c + 1] = static_cast<std::uint8_t>(to16[bgr[c]] >> 8);
                }
            break;
        }
        default:
            image_free(picture);
            return err_illegal_type;
    }
    const WaitCursor wait;
    for (int y = 0; y < h; ++y)
        std::memcpy(picture->rows[y], line.data(), line.size());
    return err_ok;
}

NewImagePanel::NewImagePanel(const NewImageSettings& start, QWidget* parent)
    : QDialog(parent),
      width_(new QLineEdit),
      height_(new QLineEdit),
      units_(new QComboBox),
      resolution_(new QLineEdit),
      type_(new QComboBox),
      colour_(new ColourButton(QStringLiteral("Background Color"))),
      settings_(start) {
    setWindowTitle(QStringLiteral("New Image"));
    setObjectName(QStringLiteral("new_image_panel"));
    width_->setObjectName(QStringLiteral("width"));
    height_->setObjectName(QStringLiteral("height"));
    units_->setObjectName(QStringLiteral("units"));
    units_->addItems(
        {QStringLiteral("Pixels"), QStringLiteral("Inches"), QStringLiteral("Centimeters")});
    resolution_->setObjectName(QStringLiteral("resolution"));
    type_->setObjectName(QStringLiteral("type"));
    for (const char* label : type_labels)
        type_->addItem(QString::fromLatin1(label));
    colour_->setObjectName(QStringLiteral("colour"));

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Width:"), width_);
    form->addRow(QStringLiteral("&Height:"), height_);
    form->addRow(QStringLiteral("&Units:"), units_);
    form->addRow(QStringLiteral("&Resolution (dpi):"), resolution_);
    form->addRow(QStringLiteral("Image &Type:"), type_);
    form->addRow(QStringLiteral("&Color:"), colour_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &NewImagePanel::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);
    show_settings(start);
}

void NewImagePanel::show_settings(const NewImageSettings& s) {
    width_->setText(number_text(s.width));
    height_->setText(number_text(s.height));
    units_->setCurrentIndex(s.units >= units_pixels && s.units <= units_centimetres ? s.units
                                                                                    : units_pixels);
    resolution_->setText(number_text(s.resolution));
    for (int i = 0; i < static_cast<int>(std::size(type_choices)); ++i) {
        if (type_choices[i] == s.type) type_->setCurrentIndex(i);
    }
    colour_->set_colour(s.colour);
}

bool NewImagePanel::read_settings(NewImageSettings* s, QString* message) const {
    NewImageSettings read = settings_;
    read.units = units_->currentIndex();
    read.type = type_choices[std::max(0, type_->currentIndex())];
    read.colour = colour_->colour();
    // The resolution first: the sizes in inches or centimetres depend on it.
    if (!read_number(resolution_, &read.resolution) || !(read.resolution > 0.0)) {
        *message = QString::fromLatin1(invalid_dpi_message);
        return false;
    }
    if (!read_number(width_, &read.width) ||
        new_image_side(read.width, read.units, read.resolution) == 0) {
        *message = QString::fromLatin1(invalid_width_message);
        return false;
    }
    if (!read_number(height_, &read.height) ||
        new_image_side(read.height, read.units, read.resolution) == 0) {
        *message = QString::fromLatin1(invalid_height_message);
        return false;
    }
    *s = read;
    return true;
}

void NewImagePanel::accept() {
    QString message;
    if (!read_settings(&settings_, &message)) {
        message_box(this, QStringLiteral("Error"), box_ok, message);
        return;
    }
    QDialog::accept();
}

void new_image_run(QMdiArea* area) {
    if (area == nullptr) return;
    NewImageSettings start;
    if (last_settings()) {
        start = *last_settings();
    } else {
        start.units = preferences().defaultunits;
        if (start.units < units_pixels || start.units > units_centimetres)
            start.units = units_pixels;
        start.resolution = preferences().defaultres;
        // The first proposal is 640 by 480 pixels, in the units of the fields.
        const double per_inch = start.units == units_inches        ? 1.0
                                : start.units == units_centimetres ? 2.54
                                                                   : 0.0;
        if (per_inch > 0.0) {
            const auto in_units = [&](double pixels) {
                return std::round(pixels / start.resolution * per_inch * 100.0) / 100.0;
            };
            start.width = in_units(start.width);
            start.height = in_units(start.height);
        }
    }
    NewImagePanel panel(start, app_state.main_window);
    if (panel.exec() != QDialog::Accepted) return;
    last_settings() = panel.settings();
    ImageHolder picture;
    int code = new_image_make(panel.settings(), picture.get());
    ImageWindow* window = nullptr;
    if (code == 0) code = image_window_create(area, picture.get(), &window);
    if (code != 0) error_report(code);
}
