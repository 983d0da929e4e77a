#include "shell/preferences_panel.h"

#include "shell/app_state.h"
#include "shell/message_box.h"
#include "shell/recent_files.h"
#include "transform/settings.h"

#include <QCheckBox>
#include <QColor>
#include <QColorDialog>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMainWindow>
#include <QSpinBox>
#include <QVBoxLayout>

#include <utility>

namespace {

QColor qcolour(Rgb8 c) {
    return QColor(c.red, c.green, c.blue);
}

QComboBox* combo(const QString& name, std::initializer_list<const char*> items) {
    auto* box = new QComboBox;
    box->setObjectName(name);
    for (const char* item : items)
        box->addItem(QString::fromLatin1(item));
    return box;
}

QSpinBox* spin(const QString& name, int low, int high) {
    auto* box = new QSpinBox;
    box->setObjectName(name);
    box->setRange(low, high);
    return box;
}

QCheckBox* check(const QString& name) {
    auto* box = new QCheckBox;
    box->setObjectName(name);
    return box;
}

QLineEdit* edit(const QString& name) {
    auto* line = new QLineEdit;
    line->setObjectName(name);
    return line;
}

std::string text_of(const QLineEdit* line) {
    return line->text().toStdString();
}

}  // namespace

ColourButton::ColourButton(const QString& dialog_title, QWidget* parent)
    : QPushButton(parent), dialog_title_(dialog_title) {
    setMinimumWidth(64);
    set_colour(colour_);
    connect(this, &QPushButton::clicked, this, &ColourButton::choose);
}

void ColourButton::set_colour(Rgb8 colour) {
    colour_ = colour;
    // The swatch is the button's face; the text is for those who cannot see it.
    setStyleSheet(QStringLiteral("background-color: %1;").arg(qcolour(colour).name()));
    setToolTip(QStringLiteral("%1 %2 %3").arg(colour.red).arg(colour.green).arg(colour.blue));
}

void ColourButton::choose() {
    const QColor chosen = QColorDialog::getColor(qcolour(colour_), this, dialog_title_);
    if (chosen.isValid()) set_colour({chosen.red(), chosen.green(), chosen.blue()});
}

PreferencesPanel::PreferencesPanel(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Preferences"));
    setObjectName(QStringLiteral("preferences_panel"));

    confirm_ = combo(QStringLiteral("confirm"), {"No", "Yes", "Last in Chain"});
    workspace_ = new ColourButton(QStringLiteral("Workspace Color"));
    workspace_->setObjectName(QStringLiteral("workspace"));
    border_width_ = spin(QStringLiteral("border_width"), 0, 999);
    border_ = new ColourButton(QStringLiteral("Border Color"));
    border_->setObjectName(QStringLiteral("border"));
    startupdirectory_ = edit(QStringLiteral("startupdirectory"));
    tempdirectory_ = edit(QStringLiteral("tempdirectory"));
    browserootdirectory_ = edit(QStringLiteral("browserootdirectory"));
    defaultres_ = edit(QStringLiteral("defaultres"));
    defaultunits_ = spin(QStringLiteral("defaultunits"), 0, 99);
    displayfullpathname_ = check(QStringLiteral("displayfullpathname"));
    undo_ = combo(QStringLiteral("undo"), {"None", "Single", "Multiple"});
    nfilemenu_ = spin(QStringLiteral("nfilemenu"), 0, nfilemenu_max);
    defaultfileopentype_ = spin(QStringLiteral("defaultfileopentype"), 0, 999);
    defaultfilesavetype_ = spin(QStringLiteral("defaultfilesavetype"), 0, 999);
    honorfilesavetype_ = check(QStringLiteral("honorfilesavetype"));
    defaultpreview_ = check(QStringLiteral("defaultpreview"));
    smoothzoomflag_ = check(QStringLiteral("smoothzoomflag"));
    showruler_ = check(QStringLiteral("showruler"));
    resampling_method_ = spin(QStringLiteral("resampling_method"), 0, 99);
    maxpreviewsize_ =
        combo(QStringLiteral("maxpreviewsize"), {"Half", "Three Quarters", "Whole Area"});
    // 2 and 3 are the same corners as 0 and 1.
    previewlocation_ = combo(QStringLiteral("previewlocation"),
                             {"Top Right", "Bottom Left", "Top Right (2)", "Bottom Left (3)"});
    stickysettings_ = check(QStringLiteral("stickysettings"));

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Confirm on Close:"), confirm_);
    form->addRow(QStringLiteral("Workspace Color:"), workspace_);
    form->addRow(QStringLiteral("Border Width:"), border_width_);
    form->addRow(QStringLiteral("Border Color:"), border_);
    form->addRow(QStringLiteral("Startup Folder:"), startupdirectory_);
    form->addRow(QStringLiteral("Temporary Folder:"), tempdirectory_);
    form->addRow(QStringLiteral("Browser Root Folder:"), browserootdirectory_);
    form->addRow(QStringLiteral("Default Resolution (dpi):"), defaultres_);
    form->addRow(QStringLiteral("Default Units:"), defaultunits_);
    form->addRow(QStringLiteral("Display Full Pathname:"), displayfullpathname_);
    form->addRow(QStringLiteral("Undo:"), undo_);
    form->addRow(QStringLiteral("Recent Files in Menu:"), nfilemenu_);
    form->addRow(QStringLiteral("Default Open File Type:"), defaultfileopentype_);
    form->addRow(QStringLiteral("Default Save File Type:"), defaultfilesavetype_);
    form->addRow(QStringLiteral("Use Default Save Type:"), honorfilesavetype_);
    form->addRow(QStringLiteral("Auto Preview:"), defaultpreview_);
    form->addRow(QStringLiteral("Smooth Zoom:"), smoothzoomflag_);
    form->addRow(QStringLiteral("Show Rulers:"), showruler_);
    form->addRow(QStringLiteral("Resampling Method:"), resampling_method_);
    form->addRow(QStringLiteral("Maximum Preview Size:"), maxpreviewsize_);
    form->addRow(QStringLiteral("Preview Location:"), previewlocation_);
    form->addRow(QStringLiteral("Sticky Settings:"), stickysettings_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &PreferencesPanel::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &PreferencesPanel::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);

    show_values(preferences());
}

void PreferencesPanel::show_values(const Preferences& p) {
    confirm_->setCurrentIndex(p.confirm);
    workspace_->set_colour(p.workspace);
    border_width_->setValue(p.border_width);
    border_->set_colour(p.border);
    startupdirectory_->setText(QString::fromStdString(p.startupdirectory));
    tempdirectory_->setText(QString::fromStdString(p.tempdirectory));
    browserootdirectory_->setText(QString::fromStdString(p.browserootdirectory));
    defaultres_->setText(QString::number(p.defaultres, 'g', 10));
    defaultunits_->setValue(p.defaultunits);
    displayfullpathname_->setChecked(p.displayfullpathname);
    undo_->setCurrentIndex(p.undo);
    nfilemenu_->setValue(p.nfilemenu);
    defaultfileopentype_->setValue(p.defaultfileopentype);
    defaultfilesavetype_->setValue(p.defaultfilesavetype);
    honorfilesavetype_->setChecked(p.honorfilesavetype);
    defaultpreview_->setChecked(p.defaultpreview);
    smoothzoomflag_->setChecked(p.smoothzoomflag);
    showruler_->setChecked(p.showruler);
    resampling_method_->setValue(p.resampling_method);
    maxpreviewsize_->setCurrentIndex(p.maxpreviewsize);
    previewlocation_->setCurrentIndex(p.previewlocation);
    stickysettings_->setChecked(p.stickysettings);
}

bool PreferencesPanel::read_values(Preferences& p) const {
    double dpi = 0.0;
    if (!parse_real(defaultres_->text().trimmed().toStdString(), dpi) || !(dpi > 0.0)) return false;
    p.defaultres = dpi;
    p.confirm = confirm_->currentIndex();
    p.workspace = workspace_->colour();
    p.border_width = border_width_->value();
    p.border = border_->colour();
    p.startupdirectory = text_of(startupdirectory_);
    p.tempdirectory = text_of(tempdirectory_);
    p.browserootdirectory = text_of(browserootdirectory_);
    p.defaultunits = defaultunits_->value();
    p.displayfullpathname = displayfullpathname_->isChecked();
    p.undo = undo_->currentIndex();
    p.nfilemenu = nfilemenu_->value();
    p.defaultfileopentype = defaultfileopentype_->value();
    p.defaultfilesavetype = defaultfilesavetype_->value();
    p.honorfilesavetype = honorfilesavetype_->isChecked();
    p.defaultpreview = defaultpreview_->isChecked();
    p.smoothzoomflag = smoothzoomflag_->isChecked();
    p.showruler = showruler_->isChecked();
    p.resampling_method = resampling_method_->value();
    p.maxpreviewsize = maxpreviewsize_->currentIndex();
    p.previewlocation = previewlocation_->currentIndex();
    p.stickysettings = stickysettings_->isChecked();
    return true;
}

void PreferencesPanel::accept() {
    Preferences values = preferences();
    if (!read_values(values)) {
        message_box(this, QString::fromLatin1(product_name), box_ok,
                    QString::fromLatin1(invalid_dpi_message));
        defaultres_->setFocus();
        return;
    }
    preferences() = std::move(values);
    preferences_save();
    recent_files_limit_changed();
    emit shell_signals().preferences_changed();
    QDialog::accept();
}

void preferences_panel_run(QWidget* parent) {
    PreferencesPanel panel(parent);
    panel.exec();
}
