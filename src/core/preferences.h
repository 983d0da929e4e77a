// What the program keeps between runs in the per-user store: "Preferences",
// which the user sets in the Preferences panel, and "State", which the
// program remembers by itself. Both are read once at start into the plain
// process-wide structs below and written back when the panel is accepted or
// at the end of a normal run. Every value is a short text in the settings
// dialect. Also here: the recent files list, the session log and the debug log.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

class QSettings;

inline constexpr char organisation_name[] = "Halvern Works";
inline constexpr char application_name[] = "Orvane";

// Groups of the store. "Color Settings" is read and written by colour management.
inline constexpr char preferences_group[] = "Preferences";
inline constexpr char state_group[] = "State";
inline constexpr char color_settings_group[] = "Color Settings";

// Longest value text; longer ones are cut before they are split into tokens.
inline constexpr int saved_value_max = 340;

// Gives the application its organisation and name, which locate the store
// and the per-user data folder, unless they are set already.
void application_names_install();

// The program's store (on Linux an INI file under the user's configuration folder).
std::unique_ptr<QSettings> saved_store();

// An 8-bit colour. The store keeps each component as a float from 0 to 1.
struct Rgb8 {
    int red = 0;
    int green = 0;
    int blue = 0;
    bool operator==(const Rgb8&) const = default;
};

// 0..1 to 0..255, rounded and held in range; and back.
int colour_from_unit(double unit);
double colour_to_unit(int value);

inline constexpr int confirm_no = 0;
inline constexpr int confirm_yes = 1;
inline constexpr int confirm_last = 2;  // only the end of a chain asks
inline constexpr int undo_none = 0;
inline constexpr int undo_single = 1;
inline constexpr int undo_multiple = 2;
inline constexpr int nfilemenu_max = 10;
inline constexpr int maxpreviewsize_max = 2;
inline constexpr int previewlocation_max = 3;

struct Preferences {
    int confirm = confirm_yes;   // when to ask about unsaved windows
    Rgb8 workspace{64, 64, 64};  // the area behind the windows
    int border_width = 16;       // around a picture inside its window
    Rgb8 border{255, 255, 255};
    std::string startupdirectory;     // folder of the Open dialog at start
    std::string tempdirectory;        // empty: the system's temporary folder
    std::string browserootdirectory;  // the user's pictures folder unless set
    double defaultres = 200.0;        // pixels per inch of new images
    int defaultunits = 0;
    bool displayfullpathname = false;
    int undo = undo_multiple;
    int nfilemenu = 9;  // recent files in the File menu, 0..10
    int defaultfileopentype = 1;
    int defaultfilesavetype = 1;
    bool honorfilesavetype = true;
    bool defaultpreview = true;  // panels open with "Auto" on
    bool smoothzoomflag = true;
    bool showruler = false;
    int resampling_method = 2;
    int maxpreviewsize = 0;      // half, three quarters or the whole main area
    int previewlocation = 0;     // 0 and 2 top right, 1 and 3 bottom left
    bool stickysettings = true;  // panels reopen as they were left; off in the background

    bool operator==(const Preferences&) const = default;
};

// Written to `version`; what an older program wrote reads back differently.
inline constexpr int state_version_current = 6010;
// Longest favourite-folder and recent-workflow lists kept.
inline constexpr int saved_list_max = 16;

struct State {
    int version = 0;
    std::vector<std::string> openfile;  // recent files, newest first
    std::string lastdirectory;
    std::string lastlytdirectory;
    std::string lastcrvdirectory;
    std::string lastccrvdirectory;
    std::string lastcbdirectory;
    std::string laststackdirectory;
    int defaultpcdres = 0;
    int ribbonorientation = 0;
    int browse[15] = {};
    int album[5] = {5, 2337, 2312, 2330, 0};
    double album_paper_width = 8.5;
    double album_paper_height = 11.0;
    int savefileoptions = 0;
    int jpegquality[3] = {97, 0, 0};  // quality and two further options
    int fpxquality[2] = {97, 0};
    int slideshow[8] = {};
    int filebrowse = 0;
    std::string filebrowsepath;
    int filebrowsedepth = 0;
    std::vector<std::string> browsefolder;  // favourite browser folders
    std::string searchrootpath;
    std::string searchfilename;
    std::string searchfromdate;
    std::string searchtodate;
    std::string searchkeyword;
    int browsesearch[4] = {};
    std::vector<std::string> workflow;  // recent workflows
    int dontshowtutorial = 0;
    int printv5bmp = 0;
    int printfixeddpi = 0;
    int printdpi = 300;
    int twain16bitnegotiation = 0;
    int twainclose = 0;
    int showimagetypeicons = 0;
    int toolboxop = 0;
    int blinkrate = 7;
    double cropcustom[2] = {1.0, 1.0};
    int readout[5] = {};
    int applyxform = 0;
    int wfl_applyoptions = 0;
    int wfl_openraw = 0;
    int rawcontrolwidth = 0;
    int TIFFCompressMode = 0;
    int BMPVersion = 0;
    std::string xformtoolbar;  // kept as the whole text
    std::string maintoolbar;
    int xformtborientation[2] = {};
    std::string comments_mapurl;
    std::string comments_copyright;
    std::string comments_artist;
    int numwflservers = 8;

    bool operator==(const State&) const = default;
};

// The process-wide values.
Preferences& preferences();
State& saved_state();

// The background process reads the store but never writes it, and ignores
// `stickysettings`, which stays off. Set before loading.
void preferences_set_background(bool on);
bool preferences_background();

// The built-in values; the pictures folder comes from the platform.
Preferences preferences_defaults();

// Load: defaults first, then every key that is present and well formed. The
// overloads without a store use the program's own.
void preferences_load();
void preferences_load(QSettings& store);
// Save: every preference. Failures are not reported; nothing is written in
// the background process.
void preferences_save();
void preferences_save(QSettings& store);
void state_load();
void state_load(QSettings& store);
void state_save();
void state_save(QSettings& store);

// ---------------------------------------------------------------------------
// Recent files

// File menu commands of the list, newest first.
inline constexpr int recent_file_command_first = 1100;

// Puts `path` at the top, removing an earlier entry of it, and keeps at most
// `limit` entries.
void recent_files_add(std::vector<std::string>& list, std::string_view path, int limit);
// Keeps at most `limit` entries (none for a negative limit).
void recent_files_trim(std::vector<std::string>& list, int limit);

// ---------------------------------------------------------------------------
// Session log: a place for a log of what a session does. This version's
// writer makes no file and always succeeds; the failure message stays for a
// writer that can fail.

inline constexpr char session_log_name[] = "status_log.txt";
inline constexpr char session_log_first_line[] = "---------ORVANE SESSION STARTED---------";
inline constexpr char session_log_failure_format[] =
    "Error %d: Creating status_log.txt file failed. Status messages will not be logged.";

// Opens the log and writes its first line: 0.
[[nodiscard]] int session_log_open();
// Writes one line: 0.
[[nodiscard]] int session_log_write(std::string_view text);

// ---------------------------------------------------------------------------
// Debug log: lines such as "File: LoadImageData err = 4", written only when a
// file has been set for it, so it is empty in normal use.

std::string debug_log_line(std::string_view module, std::string_view routine, int code);
// Empty turns the log off (the default).
void debug_log_set_file(std::string path);
void debug_log(std::string_view module, std::string_view routine, int code);
