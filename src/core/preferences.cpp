// Preferences and state in the per-user store, the recent files list, the
// session log and the debug log.
//
// Each group is a keyword table of the settings layer: the key is the
// format's first word, the value the rest of the format in the settings
// dialect, so reading and writing are the same loop for every key.
#include "core/preferences.h"

#include <QCoreApplication>
#include <QSettings>
#include <QStandardPaths>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>
#include <utility>

#include "core/format.h"
#include "core/settings_text.h"

namespace {

// ---------------------------------------------------------------------------
// Reading and writing a group

std::string_view key_of(std::string_view format) {
    return format.substr(0, format.find(' '));
}

std::string_view form_of(std::string_view format) {
    const std::size_t blank = format.find(' ');
    return blank == std::string_view::npos ? std::string_view() : format.substr(blank + 1);
}

QString qt_text(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// The text of a key, cut to the longest value; false when the key is missing
// or holds something other than one text (an INI line with commas reads as a list).
bool value_text(QSettings& store, std::string_view key, std::string& text) {
    const QVariant value = store.value(qt_text(key));
    if (!value.isValid() || value.typeId() == QMetaType::QStringList ||
        !value.canConvert<QString>()) {
        return false;
    }
    text = value.toString().toUtf8().toStdString();
    if (text.size() > static_cast<std::size_t>(saved_value_max)) text.resize(saved_value_max);
    return true;
}

void set_value_text(QSettings& store, std::string_view key, std::string text) {
    if (text.size() > static_cast<std::size_t>(saved_value_max)) text.resize(saved_value_max);
    store.setValue(qt_text(key), qt_text(text));
}

// Whether the tokens hold a value for every conversion of `form`, numbers
// where it asks for numbers. A key that doesn't keeps its default.
bool values_fit(std::string_view form, const Tokens& tokens) {
    int k = 0;
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] != '%') continue;
        ++i;
        while (i < form.size() && (form[i] == 'z' || (form[i] >= '0' && form[i] <= '9')))
            ++i;
        if (i >= form.size()) break;
        const char conversion = form[i];
        if (conversion == '%') continue;
        if (k >= tokens.count()) return false;
        const std::string_view token = tokens[k++];
        int integer = 0;
        double real = 0.0;
        if ((conversion == 'd' || conversion == ',') && !parse_integer(token, integer))
            return false;
        if (conversion == 'f' && !parse_real(token, real)) return false;
    }
    return true;
}

template <typename P>
void read_group(QSettings& store, std::span<const SettingsKeyword<P>> rows, P& params) {
    Tokens tokens;
    std::string text;
    for (const auto& row : rows) {
        if (!value_text(store, key_of(row.format), text)) continue;
        (void)tokenize(text, tokens);
        if (!values_fit(form_of(row.format), tokens)) continue;
        row.get(params, 0, SettingsValues(tokens, 0));
    }
}

template <typename P>
void write_group(QSettings& store, std::span<const SettingsKeyword<P>> rows, const P& params) {
    for (const auto& row : rows) {
        SettingsArgs args;
        row.put(params, 0, args);
        set_value_text(store, key_of(row.format), format_args(form_of(row.format), args));
    }
}

// Numbered keys `stem`0, `stem`1, ... holding quoted paths, read up to the
// first missing one.
std::vector<std::string> read_list(QSettings& store, std::string_view stem, int max) {
    std::vector<std::string> list;
    Tokens tokens;
    std::string text;
    for (int i = 0; i < max; ++i) {
        if (!value_text(store, format_text("%s%d", stem, i), text)) break;
        if (tokenize(text, tokens) > 0) list.emplace_back(tokens[0]);
    }
    return list;
}

// Writes the list and removes the keys of entries it no longer has.
void write_list(QSettings& store, std::string_view stem, const std::vector<std::string>& list,
                int max) {
    const int n = std::min(static_cast<int>(list.size()), max);
    for (int i = 0; i < n; ++i) {
        set_value_text(store, format_text("%s%d", stem, i),
                       format_text("\"%s\"", list[static_cast<std::size_t>(i)]));
    }
    for (int i = n; i < max; ++i)
        store.remove(qt_text(format_text("%s%d", stem, i)));
}

// ---------------------------------------------------------------------------
// The tables

void put_colour(const Rgb8& colour, SettingsArgs& args) {
    args.emplace_back(colour_to_unit(colour.red));
    args.emplace_back(colour_to_unit(colour.green));
    args.emplace_back(colour_to_unit(colour.blue));
}

Rgb8 get_colour(const SettingsValues& values, int first) {
    return {colour_from_unit(values.real(first)), colour_from_unit(values.real(first + 1)),
            colour_from_unit(values.real(first + 2))};
}

constexpr std::string_view confirm_words[] = {"no", "yes", "last"};
constexpr std::string_view undo_words[] = {"none", "single", "multiple"};

using Pref = Preferences;

const SettingsKeyword<Pref> preference_rows[] = {
    settings_word<&Pref::confirm, confirm_words>("confirm %s"),
    {"workspace %f %f %f", [](const Pref& p, int, SettingsArgs& a) { put_colour(p.workspace, a); },
     [](Pref& p, int, const SettingsValues& v) { p.workspace = get_colour(v, 0); }},
    {"border %d %f %f %f",
     [](const Pref& p, int, SettingsArgs& a) {
         a.emplace_back(p.border_width);
         put_colour(p.border, a);
     },
     [](Pref& p, int, const SettingsValues& v) {
         p.border_width = v.integer(0);
         p.border = get_colour(v, 1);
     }},
    settings_value<&Pref::startupdirectory>("startupdirectory \"%s\""),
    settings_value<&Pref::tempdirectory>("tempdirectory \"%s\""),
    settings_value<&Pref::browserootdirectory>("browserootdirectory \"%s\""),
    settings_value<&Pref::defaultres>("defaultres %f"),
    settings_value<&Pref::defaultunits>("defaultunits %d"),
    settings_value<&Pref::displayfullpathname>("displayfullpathname %d"),
    settings_word<&Pref::undo, undo_words>("undo %s"),
    settings_value<&Pref::nfilemenu>("nfilemenu %d"),
    settings_value<&Pref::defaultfileopentype>("defaultfileopentype %d"),
    settings_value<&Pref::defaultfilesavetype>("defaultfilesavetype %d"),
    settings_value<&Pref::honorfilesavetype>("honorfilesavetype %d"),
    settings_value<&Pref::defaultpreview>("defaultpreview %d"),
    settings_value<&Pref::smoothzoomflag>("smoothzoomflag %d"),
    settings_value<&Pref::showruler>("showruler %d"),
    settings_value<&Pref::resampling_method>("resampling_method %d"),
    settings_value<&Pref::maxpreviewsize>("maxpreviewsize %d"),
    settings_value<&Pref::previewlocation>("previewlocation %d"),
    settings_value<&Pref::stickysettings>("stickysettings %d"),
};

const SettingsKeyword<State> state_rows[] = {
    settings_value<&State::version>("version %d"),
    settings_value<&State::lastdirectory>("lastdirectory \"%s\""),
    settings_value<&State::lastlytdirectory>("lastlytdirectory \"%s\""),
    settings_value<&State::lastcrvdirectory>("lastcrvdirectory \"%s\""),
    settings_value<&State::lastccrvdirectory>("lastccrvdirectory \"%s\""),
    settings_value<&State::lastcbdirectory>("lastcbdirectory \"%s\""),
    settings_value<&State::laststackdirectory>("laststackdirectory \"%s\""),
    settings_value<&State::defaultpcdres>("defaultpcdres %d"),
    settings_value<&State::ribbonorientation>("ribbonorientation %d"),
    settings_value<&State::browse>("browse %d %d %d %d %d %d %d %d %d %d %d %d %d %d %d"),
    settings_value<&State::album, &State::album_paper_width, &State::album_paper_height>(
        "album %d %d %d %d %d %f %f"),
    settings_value<&State::savefileoptions>("savefileoptions %d"),
    settings_value<&State::jpegquality>("jpegquality %d %d %d"),
    settings_value<&State::fpxquality>("fpxquality %d %d"),
    settings_value<&State::slideshow>("slideshow %d %d %d %d %d %d %d %d"),
    settings_value<&State::filebrowse>("filebrowse %d"),
    settings_value<&State::filebrowsepath>("filebrowsepath \"%s\""),
    settings_value<&State::filebrowsedepth>("filebrowsedepth %d"),
    settings_value<&State::searchrootpath>("searchrootpath \"%s\""),
    settings_value<&State::searchfilename>("searchfilename \"%s\""),
    settings_value<&State::searchfromdate>("searchfromdate \"%s\""),
    settings_value<&State::searchtodate>("searchtodate \"%s\""),
    settings_value<&State::searchkeyword>("searchkeyword \"%s\""),
    settings_value<&State::browsesearch>("browsesearch %d %d %d %d"),
    settings_value<&State::dontshowtutorial>("dontshowtutorial %d"),
    settings_value<&State::printv5bmp>("printv5bmp %d"),
    settings_value<&State::printfixeddpi>("printfixeddpi %d"),
    settings_value<&State::printdpi>("printdpi %d"),
    settings_value<&State::twain16bitnegotiation>("twain16bitnegotiation %d"),
    settings_value<&State::twainclose>("twainclose %d"),
    settings_value<&State::showimagetypeicons>("showimagetypeicons %d"),
    settings_value<&State::toolboxop>("toolboxop %d"),
    settings_value<&State::blinkrate>("blinkrate %d"),
    settings_value<&State::cropcustom>("cropcustom %4f %4f"),
    settings_value<&State::readout>("readout %d %d %d %d %d"),
    settings_value<&State::applyxform>("applyxform %d"),
    settings_value<&State::wfl_applyoptions>("wfl_applyoptions %d"),
    settings_value<&State::wfl_openraw>("wfl_openraw %d"),
    settings_value<&State::rawcontrolwidth>("rawcontrolwidth %d"),
    settings_value<&State::TIFFCompressMode>("TIFFCompressMode %d "),
    settings_value<&State::BMPVersion>("BMPVersion %d "),
    settings_value<&State::xformtborientation>("xformtborientation %d %d "),
    settings_value<&State::comments_mapurl>("comments_mapurl \"%s\""),
    settings_value<&State::comments_copyright>("comments_copyright \"%s\""),
    settings_value<&State::comments_artist>("comments_artist \"%s\""),
    settings_value<&State::numwflservers>("numwflservers %d"),
};

// Toolbar contents are kept as whole texts, not split into tokens.
struct RawText {
    std::string_view key;
    std::string State::*member;
};
constexpr RawText state_raw_texts[] = {
    {"xformtoolbar", &State::xformtoolbar},
    {"maintoolbar", &State::maintoolbar},
};

bool background = false;

std::string& debug_log_file() {
    static std::string path;
    return path;
}

}  // namespace

void application_names_install() {
    if (!QCoreApplication::organizationName().isEmpty()) return;
    QCoreApplication::setOrganizationName(QString::fromUtf8(organisation_name));
    QCoreApplication::setApplicationName(QString::fromUtf8(application_name));
}

std::unique_ptr<QSettings> saved_store() {
    return std::make_unique<QSettings>(QString::fromUtf8(organisation_name),
                                       QString::fromUtf8(application_name));
}

int colour_from_unit(double unit) {
    if (!(unit > 0.0)) return 0;  // also NaN
    if (unit >= 1.0) return 255;
    return static_cast<int>(std::lround(unit * 255.0));
}

double colour_to_unit(int value) {
    return value / 255.0;
}

Preferences& preferences() {
    static Preferences values;
    return values;
}

State& saved_state() {
    static State values;
    return values;
}

void preferences_set_background(bool on) {
    background = on;
}

bool preferences_background() {
    return background;
}

Preferences preferences_defaults() {
    Preferences p;
    p.browserootdirectory =
        QStandardPaths::writableLocation(QStandardPaths::PicturesLocation).toUtf8().toStdString();
    return p;
}

void preferences_load() {
    preferences_load(*saved_store());
}

void preferences_load(QSettings& store) {
    Preferences p = preferences_defaults();
    store.beginGroup(QString::fromUtf8(preferences_group));
    read_group<Pref>(store, preference_rows, p);
    store.endGroup();
    // A stored value no control can show is brought into range, so that the
    // Preferences panel shows it and writes it back in range.
    p.nfilemenu = std::clamp(p.nfilemenu, 0, nfilemenu_max);
    p.maxpreviewsize = std::clamp(p.maxpreviewsize, 0, maxpreviewsize_max);
    p.previewlocation = std::clamp(p.previewlocation, 0, previewlocation_max);
    p.border_width = std::max(p.border_width, 0);
    if (background) p.stickysettings = false;
    preferences() = std::move(p);
}

void preferences_save() {
    preferences_save(*saved_store());
}

void preferences_save(QSettings& store) {
    if (background) return;
    store.beginGroup(QString::fromUtf8(preferences_group));
    write_group<Pref>(store, preference_rows, preferences());
    store.endGroup();
    store.sync();
}

void state_load() {
    state_load(*saved_store());
}

void state_load(QSettings& store) {
    State s;
    store.beginGroup(QString::fromUtf8(state_group));
    read_group<State>(store, state_rows, s);
    std::string text;
    for (const RawText& raw : state_raw_texts) {
        if (value_text(store, raw.key, text)) s.*raw.member = text;
    }
    s.openfile = read_list(store, "openfile", nfilemenu_max);
    recent_files_trim(s.openfile, preferences().nfilemenu);
    s.browsefolder = read_list(store, "browsefolder", saved_list_max);
    s.workflow = read_list(store, "workflow", saved_list_max);
    store.endGroup();
    saved_state() = std::move(s);
}

void state_save() {
    state_save(*saved_store());
}

void state_save(QSettings& store) {
    if (background) return;
    State s = saved_state();
    s.version = state_version_current;
    store.beginGroup(QString::fromUtf8(state_group));
    write_group<State>(store, state_rows, s);
    for (const RawText& raw : state_raw_texts)
        set_value_text(store, raw.key, s.*raw.member);
    write_list(store, "openfile", s.openfile, nfilemenu_max);
    write_list(store, "browsefolder", s.browsefolder, saved_list_max);
    write_list(store, "workflow", s.workflow, saved_list_max);
    store.endGroup();
    store.sync();
}

void recent_files_add(std::vector<std::string>& list, std::string_view path, int limit) {
    std::erase(list, path);
    list.emplace(list.begin(), path);
    recent_files_trim(list, limit);
}

void recent_files_trim(std::vector<std::string>& list, int limit) {
    const auto n = static_cast<std::size_t>(std::max(limit, 0));
    if (list.size() > n) list.resize(n);
}

int session_log_open() {
    return session_log_write(session_log_first_line);
}

int session_log_write(std::string_view text) {
    (void)text;
    return 0;
}

std::string debug_log_line(std::string_view module, std::string_view routine, int code) {
    return format_text("%s: %s err = %d", module, routine, code);
}

void debug_log_set_file(std::string path) {
    debug_log_file() = std::move(path);
}

void debug_log(std::string_view module, std::string_view routine, int code) {
    if (debug_log_file().empty()) return;
    std::FILE* f = std::fopen(debug_log_file().c_str(), "ab");
    if (!f) return;
    const std::string line = debug_log_line(module, routine, code) + "\r\n";
    (void)std::fwrite(line.data(), 1, line.size(), f);
    std::fclose(f);
}
