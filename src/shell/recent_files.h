// The recent files list as the File menu shows it: entries 1100 to 1109,
// newest first, as many as the `nfilemenu` preference allows. The list itself
// is part of the saved state.
#pragma once

#include <QString>

// How many entries the File menu shows now.
int recent_files_shown();

// The path of menu place `index` (0 for the newest); empty when there is none.
QString recent_file_path(int index);

// The label of menu place `index`: "&1: " to "&9: ", then "1&0: ", followed by
// the path, with any & in the path doubled so that it shows as written.
QString recent_file_label(int index, const QString& path);

// A file was opened: it moves to the top of the list (as an absolute path)
// and the menu follows.
void recent_file_opened(const QString& path);

// The list is cut to the `nfilemenu` preference (after the preference changed)
// and the menu follows.
void recent_files_limit_changed();
