#include "shell/save_image_panel.h"

#include "file/file_types.h"
#include "file/write_image.h"

#include "shell/app_state.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>

namespace {

// "TIFF (*.tif *.tiff)": the label and the pattern in the form Qt's panel takes.
QString filter_text(int filter) {
    const SaveFilter* row = save_filter(filter);
    return QStringLiteral("%1 (%2)").arg(
        QLatin1String(row->label),
        QString::fromLatin1(row->pattern).replace(QLatin1Char(';'), QLatin1Char(' ')));
}

const QStringList sampling_labels = {QStringLiteral("4:4:4"), QStringLiteral("4:2:2"),
                                     QStringLiteral("4:1:1")};

QString quality_text(const QString& label, int quality) {
    return QStringLiteral("%1 %2").arg(label).arg(quality);
}

// A group of exclusive choices with the values 0, 1, 2 ... in order.
QButtonGroup* add_choices(QGroupBox* box, const QStringList& labels, int value) {
    auto* layout = new QVBoxLayout(box);
    auto* group = new QButtonGroup(box);
    for (int i = 0; i < labels.size(); ++i) {
        auto* button = new QRadioButton(labels[i], box);
        group->addButton(button, i);
        layout->addWidget(button);
    }
    if (QAbstractButton* chosen = group->button(value)) chosen->setChecked(true);
    return group;
}

// `savefileoptions` bits and the "Include:" list of the statistics, in its order.
constexpr int include_bits[] = {0, save_without_comments, save_without_profile,
                                save_without_comments | save_without_profile};

int include_index(int options) {
    const int bits = options & (save_without_comments | save_without_profile);
    for (int i = 0; i < 4; ++i)
        if (include_bits[i] == bits) return i;
    return 0;
}

}  // namespace

SaveImagePanel::SaveImagePanel(const SaveImageRequest& request)
    : QFileDialog(request.parent, request.title),
      filter_(save_filter(request.filter) != nullptr ? request.filter : save_filter_tiff),
      choices_(request.choices) {
    // Qt's own panel, which can carry the format groups; the overwrite
    // question is the save's own.
    setOption(QFileDialog::DontUseNativeDialog);
    setOption(QFileDialog::DontConfirmOverwrite);
    setAcceptMode(QFileDialog::AcceptSave);
    setFileMode(QFileDialog::AnyFile);
    QStringList filters;
    for (int filter = 1; filter <= save_filter_count; ++filter)
        filters.append(filter_text(filter));
    setNameFilters(filters);
    selectNameFilter(filters[filter_ - 1]);
    const QFileInfo proposal(request.name);
    setDirectory(proposal.absolutePath());
    selectFile(proposal.fileName());

    build_groups();
    show_group();
    connect(this, &QFileDialog::filterSelected, this, [this](const QString& text) {
        const int index = static_cast<int>(nameFilters().indexOf(text));
        if (index >= 0) choose_filter(index + 1);
    });
}

void SaveImagePanel::build_groups() {
    auto* holder = new QWidget(this);
    auto* column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 0, 0, 0);

    tiff_group_ = new QGroupBox(QStringLiteral("Tiff Compression Options"), holder);
    QButtonGroup* tiff =
        add_choices(tiff_group_,
                    {QStringLiteral("No compression"), QStringLiteral("Zip compression"),
                     QStringLiteral("LZW compression")},
                    choices_.tiff_compression);
    connect(tiff, &QButtonGroup::idClicked, this,
            [this](int id) { choices_.tiff_compression = id; });

    jpeg_group_ = new QGroupBox(QStringLiteral("Jpeg Options"), holder);
    auto* jpeg = new QGridLayout(jpeg_group_);
    jpeg_slider_ = new QSlider(Qt::Horizontal, jpeg_group_);
    jpeg_slider_->setRange(0, jpeg_slider_max);
    jpeg_slider_->setValue(jpeg_position_of_quality(choices_.jpeg_quality));
    jpeg_label_ = new QLabel(quality_text(QStringLiteral("JPEG Quality:"), choices_.jpeg_quality),
                             jpeg_group_);
    // The quality follows the slider only once it moves, so that a quality
    // the slider cannot show exactly stays as it was.
    connect(jpeg_slider_, &QSlider::valueChanged, this, [this](int position) {
        choices_.jpeg_quality = jpeg_quality_of_position(position);
        jpeg_label_->setText(quality_text(QStringLiteral("JPEG Quality:"), choices_.jpeg_quality));
    });
    auto* sampling = new QComboBox(jpeg_group_);
    sampling->addItems(sampling_labels);
    sampling->setCurrentIndex(choices_.jpeg_sampling);
    connect(sampling, &QComboBox::currentIndexChanged, this,
            [this](int index) { choices_.jpeg_sampling = index; });
    include_profile_ = new QCheckBox(QStringLiteral("Include profile"), jpeg_group_);
    auto* include_comments = new QCheckBox(QStringLiteral("Include comments"), jpeg_group_);
    auto* statistics = new QCheckBox(QStringLiteral("Show statistics"), jpeg_group_);
    const struct {
        QCheckBox* box;
        int bit;
    } checks[] = {{include_profile_, save_without_profile},
                  {include_comments, save_without_comments},
                  {statistics, save_without_statistics}};
    for (const auto& check : checks) {
        check.box->setChecked((choices_.save_file_options & check.bit) == 0);
        const int bit = check.bit;
        connect(check.box, &QCheckBox::toggled, this, [this, bit](bool on) {
            choices_.save_file_options =
                on ? choices_.save_file_options & ~bit : choices_.save_file_options | bit;
        });
    }
    warn_when_unticked(include_profile_);
    warn_when_unticked(include_comments);
    jpeg->addWidget(jpeg_label_, 0, 0);
    jpeg->addWidget(jpeg_slider_, 0, 1, 1, 2);
    jpeg->addWidget(new QLabel(QStringLiteral("Sampling:"), jpeg_group_), 1, 0);
    jpeg->addWidget(sampling, 1, 1);
    jpeg->addWidget(include_profile_, 2, 0);
    jpeg->addWidget(include_comments, 2, 1);
    jpeg->addWidget(statistics, 2, 2);

    bmp_group_ = new QGroupBox(QStringLiteral("BMP Options"), holder);
    QButtonGroup* bmp =
        add_choices(bmp_group_,
                    {QStringLiteral("Don't save profile. (Always uses BMP v1 format.)"),
                     QStringLiteral("Save profile, if any. (Uses BMP v5 format if image has "
                                    "profile.)")},
                    choices_.bmp_version);
    connect(bmp, &QButtonGroup::idClicked, this, [this](int id) { choices_.bmp_version = id; });

    column->addWidget(tiff_group_);
    column->addWidget(jpeg_group_);
    column->addWidget(bmp_group_);
    if (auto* grid = qobject_cast<QGridLayout*>(layout()))
        grid->addWidget(holder, grid->rowCount(), 0, 1, grid->columnCount());
}

void SaveImagePanel::warn_when_unticked(QCheckBox* box) {
    // Red and bold while data would be left out of the file.
    const auto mark = [box](bool on) {
        box->setStyleSheet(on ? QString() : QStringLiteral("color: red; font-weight: bold"));
    };
    mark(box->isChecked());
    connect(box, &QCheckBox::toggled, box, mark);
}

void SaveImagePanel::show_group() {
    tiff_group_->setVisible(filter_ == save_filter_tiff);
    jpeg_group_->setVisible(filter_ == save_filter_jpeg);
    bmp_group_->setVisible(filter_ == save_filter_bmp);
}

QString SaveImagePanel::name_field() const {
    const auto* edit = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    return edit != nullptr ? edit->text() : QString();
}

void SaveImagePanel::choose_filter(int filter) {
    if (save_filter(filter) == nullptr) return;
    filter_ = filter;
    const QString filter_name = filter_text(filter);
    if (selectedNameFilter() != filter_name) selectNameFilter(filter_name);
    const QString name = name_field();
    if (!name.isEmpty()) {
        const QString renamed =
            QString::fromStdString(name_with_filter_extension(name.toStdString(), filter));
        if (auto* edit = findChild<QLineEdit*>(QStringLiteral("fileNameEdit")))
            edit->setText(renamed);
    }
    show_group();
}

SaveImageAnswer SaveImagePanel::answer() const {
    SaveImageAnswer result;
    const QStringList files = selectedFiles();
    result.name = files.isEmpty() ? QString() : files.first();
    result.filter = filter_;
    result.choices = choices_;
    return result;
}

SaveImageAnswer save_image_panel_run(const SaveImageRequest& request) {
    SaveImagePanel panel(request);
    if (panel.exec() != QDialog::Accepted) return {};
    SaveImageAnswer result = panel.answer();
    if (result.name.isEmpty()) result.filter = request.filter;
    return result;
}

JpegStatisticsDialog::JpegStatisticsDialog(const JpegStatistics& statistics, QWidget* parent)
    : QDialog(parent), used_(statistics.choices), choices_(statistics.choices) {
    setWindowTitle(QStringLiteral("File Save (JPEG)"));
    auto* form = new QFormLayout(this);
    const long long file_bytes = statistics.file_bytes > 0 ? statistics.file_bytes : 1;
    const double ratio = static_cast<double>(statistics.image_bytes) / file_bytes;
    const QString rows[][2] = {
        {QStringLiteral("Image Size:"), jpeg_size_text(statistics.image_bytes)},
        {QStringLiteral("File Size:"), jpeg_size_text(statistics.file_bytes)},
        {QStringLiteral("Compression Ratio:"), QString::asprintf("%.2f", ratio)},
    };
    for (const auto& row : rows) {
        auto* value = new QLabel(row[1], this);
        value->setObjectName(row[0]);
        form->addRow(row[0], value);
    }

    quality_label_ =
        new QLabel(quality_text(QStringLiteral("Quality:"), choices_.jpeg_quality), this);
    slider_ = new QSlider(Qt::Horizontal, this);
    slider_->setRange(0, jpeg_slider_max);
    slider_->setValue(jpeg_position_of_quality(choices_.jpeg_quality));
    connect(slider_, &QSlider::valueChanged, this, [this](int position) {
        choices_.jpeg_quality = jpeg_quality_of_position(position);
        quality_label_->setText(quality_text(QStringLiteral("Quality:"), choices_.jpeg_quality));
        changed();
    });
    form->addRow(quality_label_, slider_);

    if (statistics.colour) {
        sampling_ = new QComboBox(this);
        sampling_->addItems(sampling_labels);
        sampling_->setCurrentIndex(choices_.jpeg_sampling);
        connect(sampling_, &QComboBox::currentIndexChanged, this, [this](int index) {
            choices_.jpeg_sampling = index;
            changed();
        });
        form->addRow(QStringLiteral("Color Sampling:"), sampling_);
        include_ = new QComboBox(this);
        include_->addItems({QStringLiteral("Profile & Comments"), QStringLiteral("Profile only"),
                            QStringLiteral("Comments only"),
                            QStringLiteral("Neither Profile nor Comments")});
        include_->setCurrentIndex(include_index(choices_.save_file_options));
        connect(include_, &QComboBox::currentIndexChanged, this, [this](int index) {
            const int kept =
                choices_.save_file_options & ~(save_without_comments | save_without_profile);
            choices_.save_file_options = kept | include_bits[index];
            changed();
        });
        form->addRow(QStringLiteral("Include:"), include_);
    }

    auto* buttons = new QHBoxLayout;
    auto* done = new QPushButton(QStringLiteral("Done"), this);
    save_again_ = new QPushButton(QStringLiteral("Save Again"), this);
    save_again_->setEnabled(false);
    buttons->addWidget(done);
    buttons->addWidget(save_again_);
    form->addRow(buttons);
    connect(done, &QPushButton::clicked, this, &QDialog::reject);
    connect(save_again_, &QPushButton::clicked, this, &QDialog::accept);
    done->setDefault(true);
}

void JpegStatisticsDialog::changed() {
    save_again_->setEnabled(!(choices_ == used_));
}

QString JpegStatisticsDialog::text_of(const QString& label) const {
    const auto* value = findChild<QLabel*>(label);
    return value != nullptr ? value->text() : QString();
}

bool jpeg_statistics_panel_run(const JpegStatistics& statistics, SaveChoices* choices) {
    JpegStatisticsDialog dialog(statistics, static_cast<QWidget*>(app_state.main_window));
    if (dialog.exec() != QDialog::Accepted) return false;
    *choices = dialog.choices();
    return true;
}
