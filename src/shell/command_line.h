// The program's command line: a list of files to open, the automation start
// that carries none, or the start of a background process.
#pragma once

#include <QString>
#include <QStringList>

// Longest file name taken from a command line; longer names are cut here.
inline constexpr int command_line_name_max = 260;

struct CommandLine {
    // True for a background process; `batch_channel` then names the parent's
    // channel and `batch_rest` keeps what followed it for the process's own use.
    bool batch = false;
    QString batch_channel;
    QString batch_rest;
    // Files to open, in the order given. Empty for a plain start.
    QStringList files;
};

// Joins the program's arguments (without the program name) back into one line,
// the form a second start hands over. Arguments that hold a blank are quoted so
// that they come back whole; the others are joined with one blank, which lets
// a name split by the shell at a blank before its extension come back whole too.
QString command_line_join(const QStringList& arguments);

// The line a second start hands to the first: each name made absolute against
// this process's working folder and quoted, so that the first instance, which
// runs in a folder of its own, opens the same files.
QString command_line_hand_over(const QStringList& files);

// The file names of a command line. A blank ends a name unless it lies inside
// double quotes or no "." has been seen yet in the name; quotes are not part of
// a name; a name is limited to `command_line_name_max` characters.
QStringList command_line_files(const QString& line);

// Reads a whole command line: "-?batch<channel>" starts a background process,
// "-Embedding" counts as an empty list, anything else is a list of files.
CommandLine command_line_parse(const QString& line);
