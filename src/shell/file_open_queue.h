// Opening files from a command line, a hand-over or a drop. While a
// transformation panel is open or another open is running, files wait in a
// queue, in order, and are opened when the panel closes or the open ends.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// Longest path kept in the queue.
inline constexpr int open_queue_path_max = 260;

// Opens `path` now, or queues it when that must wait.
void open_or_queue(const QString& path);

// Opens every file named in a command line, in order.
void open_command_line(const QString& line);

// Opens queued files while nothing blocks it any more.
void open_queued_files();

// A drop of files on the frame: refused with a message while a file operation
// or a transformation is under way (nothing is opened or queued); otherwise
// each file is opened.
void open_dropped_files(const QStringList& paths);

// The routine that opens one file; `open_file_path` unless replaced (by tests,
// to watch what is opened). Returns the one that was installed before.
using OpenFileRoutine = std::function<int(const QString&)>;
OpenFileRoutine open_file_set_routine(OpenFileRoutine routine);
