#include "shell/command_line.h"

#include <QFileInfo>

namespace {

const QString batch_prefix = QStringLiteral("-?batch");
const QString embedding = QStringLiteral("-Embedding");

}  // namespace

QString command_line_join(const QStringList& arguments) {
    QString line;
    for (const QString& argument : arguments) {
        if (!line.isEmpty()) line += QLatin1Char(' ');
        if (argument.contains(QLatin1Char(' ')))
            line += QLatin1Char('"') + argument + QLatin1Char('"');
        else
            line += argument;
    }
    return line;
}

QString command_line_hand_over(const QStringList& files) {
    QStringList quoted;
    for (const QString& file : files)
        quoted.append(QLatin1Char('"') + QFileInfo(file).absoluteFilePath() + QLatin1Char('"'));
    return quoted.join(QLatin1Char(' '));
}

QStringList command_line_files(const QString& line) {
    QStringList files;
    QString name;
    bool quoted = false;
    bool dot_seen = false;
    bool started = false;
    // Blanks taken into a name only because no "." had been seen yet; if the
    // name then ends at the end of the line they were trailing blanks, not part
    // of it.
    qsizetype kept = 0;

    auto finish = [&] {
        if (started) {
            name.truncate(kept);
            if (!name.isEmpty()) files.append(name);
        }
        name.clear();
        quoted = dot_seen = started = false;
        kept = 0;
    };
    auto take = [&](QChar c, bool keep) {
        if (name.size() < command_line_name_max) {
            name += c;
            if (keep) kept = name.size();
        }
    };

    for (QChar c : line) {
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
            started = true;
            kept = name.size();
            continue;
        }
        if (c == QLatin1Char(' ') && !quoted) {
            if (!started) continue;  // blanks between names
            if (dot_seen) {
                finish();
                continue;
            }
            take(c, false);
            continue;
        }
        started = true;
        if (c == QLatin1Char('.')) dot_seen = true;
        take(c, true);
    }
    finish();
    return files;
}

CommandLine command_line_parse(const QString& line) {
    CommandLine result;
    const QString trimmed = line.trimmed();
    if (trimmed.startsWith(batch_prefix)) {
        result.batch = true;
        const QString after = trimmed.mid(batch_prefix.size());
        const qsizetype blank = after.indexOf(QLatin1Char(' '));
        result.batch_channel = blank < 0 ? after : after.left(blank);
        result.batch_rest = blank < 0 ? QString() : after.mid(blank + 1).trimmed();
        return result;
    }
    // The shell's automation start names no files.
    if (trimmed.section(QLatin1Char(' '), 0, 0).compare(embedding, Qt::CaseInsensitive) == 0)
        return result;
    result.files = command_line_files(trimmed);
    return result;
}
