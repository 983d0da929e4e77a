// Settings text: lines, tokens, numbers and the keyword-table reader and writer.
#include "core/settings_text.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <utility>

// ---------------------------------------------------------------------------
// Files and lines

TextFile& TextFile::operator=(TextFile&& other) noexcept {
    if (this != &other) {
        close();
        file_ = std::exchange(other.file_, nullptr);
    }
    return *this;
}

void TextFile::adopt(std::FILE* file) {
    close();
    file_ = file;
}

void TextFile::close() {
    if (file_) std::fclose(std::exchange(file_, nullptr));
}

int text_open(const std::string& path, TextFile& file) {
    file.close();
    std::error_code ec;
    // A folder opens for reading here, but it is not a file that exists.
    if (path.empty() || std::filesystem::is_directory(path, ec)) return 4;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return 4;
    file.adopt(f);
    return 0;
}

int text_create(const std::string& path, TextFile& file) {
    file.close();
    std::FILE* f = path.empty() ? nullptr : std::fopen(path.c_str(), "wb");
    if (!f) return errno == EACCES || errno == EPERM || errno == EROFS ? 37 : 3;
    // Unbuffered, so that a short write shows at the line that caused it.
    std::setvbuf(f, nullptr, _IONBF, 0);
    file.adopt(f);
    return 0;
}

bool file_exists(const std::string& path) {
    TextFile file;
    return text_open(path, file) == 0;
}

int line_read(TextFile& file, std::string& line, int max_chars) {
    line.clear();
    std::FILE* f = file.handle();
    if (!f) return 5;
    const std::size_t limit = static_cast<std::size_t>(std::max(1, max_chars));
    while (line.size() < limit) {
        const int c = std::fgetc(f);
        if (c == EOF) {
            if (std::ferror(f)) return 5;
            return line.empty() ? 2 : 0;
        }
        if (c == '\r') continue;
        if (c == '\n') {
            if (line.empty()) continue;
            return 0;
        }
        line.push_back(static_cast<char>(c));
    }
    return 0;
}

int line_write(TextFile& file, std::string_view text) {
    std::FILE* f = file.handle();
    if (!f) return 6;
    std::string out(text);
    if (!text.ends_with("\r\n")) out += "\r\n";
    if (std::fwrite(out.data(), 1, out.size(), f) != out.size()) return 6;
    if (std::fflush(f) != 0) return 6;
    return 0;
}

// ---------------------------------------------------------------------------
// Tokens and numbers

std::string_view Tokens::operator[](int i) const {
    if (i < 0 || i >= count()) return {};
    return items_[static_cast<std::size_t>(i)];
}

namespace {

bool is_delimiter(char c) {
    switch (c) {
        case '\0':
        case '\t':
        case ' ':
        case '(':
        case ')':
        case '*':
        case '+':
        case ',':
        case '/':
        case ':':
        case '=':
        case '[':
        case ']':
            return true;
        default:
            return false;
    }
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view clipped(std::string_view text) {
    return text.substr(0, static_cast<std::size_t>(token_max_length));
}

}  // namespace

int tokenize(std::string_view line, Tokens& tokens) {
    tokens.items_.clear();
    line = line.substr(0, line.find('\0'));
    const std::size_t n = line.size();
    std::size_t i = 0;
    while (tokens.count() < token_max_count) {
        while (i < n && (line[i] == ' ' || line[i] == '\t'))
            ++i;
        // An empty token at the end of the line is not one.
        if (i >= n) break;
        if (line[i] == '"') {
            const std::size_t start = ++i;
            while (i < n && line[i] != '"')
                ++i;
            tokens.items_.emplace_back(clipped(line.substr(start, i - start)));
            if (i < n) ++i;
            continue;
        }
        const std::size_t start = i;
        while (i < n) {
            const char c = line[i];
            if (is_delimiter(c)) {
                // The exponent sign of a number such as 1.5E+03.
                const bool exponent_sign =
                    c == '+' && i > start && is_digit(line[start]) && lower(line[i - 1]) == 'e';
                if (!exponent_sign) break;
            }
            ++i;
        }
        if (i == start) {
            tokens.items_.emplace_back(1, line[i]);
            ++i;
        } else {
            tokens.items_.emplace_back(clipped(line.substr(start, i - start)));
        }
    }
    return tokens.count();
}

bool keyword_equals(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

bool parse_integer(std::string_view text, int& value) {
    std::size_t i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    // Unsigned arithmetic wraps where an unchecked signed one would overflow.
    std::uint32_t v = 0;
    for (; i < text.size() && is_digit(text[i]); ++i)
        v = v * 10u + static_cast<unsigned>(text[i] - '0');
    value = static_cast<int>(negative ? 0u - v : v);
    return i == text.size();
}

bool parse_real(std::string_view text, double& value) {
    const std::size_t n = text.size();
    std::size_t i = 0;
    bool negative = false;
    if (i < n && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';

    // All digits form one integer; the full stop, the percent sign and the
    // exponent only decide the power of ten it is divided by at the end.
    double digits = 0.0;
    int fraction_digits = 0;
    bool point = false;
    bool percent = false;
    int exponent = 0;
    bool ok = true;
    for (; i < n; ++i) {
        const char c = text[i];
        if (is_digit(c)) {
            digits = digits * 10.0 + (c - '0');
            if (point) ++fraction_digits;
        } else if (c == ',') {
            continue;
        } else if (c == '.') {
            if (point) {
                ok = false;
                break;
            }
            point = true;
        } else if (c == '%') {
            if (percent) {
                ok = false;
                break;
            }
            percent = true;
        } else {
            break;
        }
    }
    if (ok && i < n && lower(text[i]) == 'e') {
        ++i;
        bool exponent_negative = false;
        if (i < n && (text[i] == '+' || text[i] == '-')) exponent_negative = text[i++] == '-';
        int count = 0;
        for (; i < n && is_digit(text[i]) && count < 3; ++i, ++count) {
            exponent = exponent * 10 + (text[i] - '0');
        }
        if (count == 0) ok = false;
        if (exponent_negative) exponent = -exponent;
    }
    if (i != n) ok = false;

    const int power = fraction_digits + (percent ? 2 : 0) - exponent;
    double v = power >= 0 ? digits / std::pow(10.0, power) : digits * std::pow(10.0, -power);
    value = negative ? -v : v;
    return ok;
}

int token_integer(std::string_view text) {
    int value = 0;
    (void)parse_integer(text, value);
    return value;
}

double token_real(std::string_view text) {
    double value = 0.0;
    (void)parse_real(text, value);
    return value;
}

int SettingsValues::word(int k, std::span<const std::string_view> words) const {
    const std::string_view w = text(k);
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (keyword_equals(w, words[i])) return static_cast<int>(i);
    }
    return -1;
}

// ---------------------------------------------------------------------------
// Settings formats

namespace {

std::string_view keyword_of(std::string_view format) {
    return format.substr(0, format.find(' '));
}

int find_keyword(const SettingsTable& table, std::string_view keyword) {
    for (std::size_t k = 0; k < table.size(); ++k) {
        if (keyword_equals(keyword_of(table.format(k)), keyword)) return static_cast<int>(k);
    }
    return -1;
}

int write_indexed(TextFile& file, const SettingsTable& table, std::size_t k, int index) {
    SettingsArgs args{FormatArg(index)};
    table.put(k, index, args);
    return line_write(file, format_args(table.format(k), args));
}

int lines_to_write(const SettingsTable& table, std::size_t k) {
    return std::clamp(table.lines(k), 0, table.capacity(k));
}

}  // namespace

int settings_read_table(TextFile& file, std::string_view header, int bad_file_code,
                        SettingsTable& table) {
    Tokens expected;
    Tokens tokens;
    std::string line;
    (void)tokenize(header, expected);
    if (line_read(file, line, settings_line_max) != 0) return bad_file_code;
    if (tokenize(line, tokens) != 2 || !keyword_equals(tokens[0], expected[0]) ||
        !keyword_equals(tokens[1], expected[1])) {
        return bad_file_code;
    }
    for (;;) {
        // End of file before `end` fails the load even when every value was read.
        if (line_read(file, line, settings_line_max) != 0) return bad_file_code;
        // A line of blanks carries nothing.
        if (tokenize(line, tokens) == 0) continue;
        if (keyword_equals(tokens[0], "end")) return 0;
        const int found = find_keyword(table, tokens[0]);
        if (found < 0) return bad_file_code;
        const auto k = static_cast<std::size_t>(found);
        switch (table.line(k)) {
            case SettingsLine::single:
                table.get(k, 0, SettingsValues(tokens, 1));
                break;
            case SettingsLine::count: {
                const int n = token_integer(tokens[1]);
                if (n < 0 || n > settings_count_max) return bad_file_code;
                table.get(k, 0, SettingsValues(tokens, 1));
                break;
            }
            case SettingsLine::repeated:
            case SettingsLine::joined: {
                const int index = token_integer(tokens[1]);
                if (index < 0 || index >= table.capacity(k)) return bad_file_code;
                table.get(k, index, SettingsValues(tokens, 2));
                break;
            }
        }
    }
}

int settings_write_table(TextFile& file, std::string_view header, const SettingsTable& table) {
    if (int err = line_write(file, header)) return err;
    for (std::size_t k = 0; k < table.size(); ++k) {
        if (!table.written(k)) continue;
        switch (table.line(k)) {
            case SettingsLine::single:
            case SettingsLine::count: {
                SettingsArgs args;
                table.put(k, 0, args);
                if (int err = line_write(file, format_args(table.format(k), args))) return err;
                break;
            }
            case SettingsLine::repeated: {
                const int n = lines_to_write(table, k);
                for (int i = 0; i < n; ++i) {
                    if (int err = write_indexed(file, table, k, i)) return err;
                    for (std::size_t j = k + 1;
                         j < table.size() && table.line(j) == SettingsLine::joined; ++j) {
                        if (!table.written(j) || i >= lines_to_write(table, j)) continue;
                        if (int err = write_indexed(file, table, j, i)) return err;
                    }
                }
                break;
            }
            case SettingsLine::joined:
                break;  // written with the repeated keyword before it
        }
    }
    return line_write(file, "end");
}
