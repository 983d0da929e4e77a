#include "shell/log_sink.h"

#include <cstdio>

namespace {

LogSink* installed = nullptr;

}  // namespace

LogSink* log_set_sink(LogSink* sink) {
    LogSink* before = installed;
    installed = sink;
    return before;
}

void log_line(const QString& line) {
    if (installed != nullptr) {
        installed->write_line(line);
        return;
    }
    const QByteArray bytes = line.toUtf8();
    std::fprintf(stderr, "%s\n", bytes.constData());
}
