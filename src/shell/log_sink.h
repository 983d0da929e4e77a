// Where a background process writes its log lines. Standard error until the
// process has its own log.
#pragma once

#include <QString>

class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write_line(const QString& line) = 0;
};

// Installs the sink used from now on; null restores standard error. Returns the
// one installed before (null for standard error).
LogSink* log_set_sink(LogSink* sink);

void log_line(const QString& line);
