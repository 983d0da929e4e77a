// Settings text, the dialect every text file of the program is written in:
// the line reader and writer, the tokenizer, keyword comparison and number
// parsers, and the keyword-table machinery that reads and writes a settings
// format. Preferences, settings files and workflow text all go through it.
//
// A settings format is a header, a few names and a keyword table, nothing
// more: the reader and the writer below are the same for all of them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/format.h"

// ---------------------------------------------------------------------------
// Files and lines

// Longest line of a settings file; the workflow reader asks for more.
inline constexpr int settings_line_max = 255;
inline constexpr int workflow_line_max = 323;

// An open text file. Owns its handle and closes it when it goes; close() may
// be called any number of times.
class TextFile {
public:
    TextFile() = default;
    ~TextFile() { close(); }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    TextFile(TextFile&& other) noexcept : file_(other.file_) { other.file_ = nullptr; }
    TextFile& operator=(TextFile&& other) noexcept;

    // Takes over a handle opened elsewhere (a workflow file with a binary tail,
    // a test's odd stream).
    void adopt(std::FILE* file);
    void close();
    bool is_open() const { return file_ != nullptr; }
    // For formats that continue with binary data after their text lines.
    std::FILE* handle() const { return file_; }

private:
    std::FILE* file_ = nullptr;
};

// Opens an existing file for reading: 0, or 4 when it cannot be opened or is
// a folder.
[[nodiscard]] int text_open(const std::string& path, TextFile& file);
// Creates or truncates a file for writing: 0; 37 when access is denied (a
// read-only file or folder); 3 for any other failure.
[[nodiscard]] int text_create(const std::string& path, TextFile& file);
// Whether `path` names a file that can be opened for reading.
bool file_exists(const std::string& path);

// Reads one line of at most `max_chars` characters into `line`. CR is dropped
// wherever it occurs; an LF with nothing collected is skipped, so blank lines
// never come back. Returns 0 with a line; 2 at end of file with nothing
// collected; 5 on a read failure. A line longer than `max_chars` comes back in
// pieces, the rest of it as the next line.
[[nodiscard]] int line_read(TextFile& file, std::string& line, int max_chars);
// Writes `text`, followed by CR LF unless it already ends in CR LF. 0, or 6 on
// a short write.
[[nodiscard]] int line_write(TextFile& file, std::string_view text);

// ---------------------------------------------------------------------------
// Tokens and numbers

inline constexpr int token_max_count = 64;
inline constexpr int token_max_length = 255;

// The tokens of one line. The caller owns it, so tokenizing has no hidden
// state and two lines can be held at once.
class Tokens {
public:
    int count() const { return static_cast<int>(items_.size()); }
    // The token at `i`; an empty text when there is none, so that a reader
    // looking past the end sees nothing rather than garbage.
    std::string_view operator[](int i) const;

private:
    friend int tokenize(std::string_view line, Tokens& tokens);
    std::vector<std::string> items_;
};

// Splits `line` into at most 64 tokens of at most 255 characters and returns
// the count. Blanks and tabs separate; a double quote holds a token together
// (an empty pair is a token); ( ) * + , / : = [ ] end a token and are tokens of
// their own; a + after a token such as "1.5E" stays in it; a NUL ends the line.
// Longer tokens keep their first 255 characters.
int tokenize(std::string_view line, Tokens& tokens);

// ASCII comparison without regard to case, as every keyword is compared.
bool keyword_equals(std::string_view a, std::string_view b);

// Integer: an optional sign, then digits up to the first other character.
// `value` is what was read (wrapping, unchecked); returns whether every
// character was used.
bool parse_integer(std::string_view text, int& value);
// Real: an optional sign; digits with commas skipped, at most one full stop,
// at most one % (dividing by 100); then an optional E with an optional sign and
// one to three digits. `value` is what was read up to any failure; returns
// whether the whole text was a well-formed number.
bool parse_real(std::string_view text, double& value);
// The same, for readers that take a bad number as what was parsed so far.
int token_integer(std::string_view text);
double token_real(std::string_view text);

// ---------------------------------------------------------------------------
// Settings formats

// The values that follow a keyword (and, on repeated lines, the index).
// Missing values read as 0 or empty.
class SettingsValues {
public:
    SettingsValues(const Tokens& tokens, int first) : tokens_(tokens), first_(first) {}
    int count() const { return std::max(0, tokens_.count() - first_); }
    std::string_view text(int k) const { return tokens_[first_ + k]; }
    int integer(int k) const { return token_integer(text(k)); }
    double real(int k) const { return token_real(text(k)); }
    // Index of value `k` in `words`, compared without regard to case; -1 if absent.
    int word(int k, std::span<const std::string_view> words) const;

private:
    const Tokens& tokens_;
    int first_;
};

// The arguments of one written line, in the order of the format's conversions.
using SettingsArgs = std::vector<FormatArg>;

// Largest value of a count keyword (`npts`, `ncolors`) that a load accepts.
inline constexpr int settings_count_max = 256;

enum class SettingsLine {
    single,    // one line: keyword and values
    count,     // one line whose value is an element count: 257 or more fails a load
    repeated,  // one line per element, with the index leading the values
    joined,    // like repeated, written after each line of the repeated keyword before it
};

// One row of a format's keyword table. `format` is the line as written, for
// example "npts %d" or "point %d %d %d": the keyword is its first word. On a
// repeated line the first conversion is the index, which the machinery writes
// and checks; `put` and `get` see only the values after it.
template <typename P>
struct SettingsKeyword {
    std::string_view format;
    void (*put)(const P& params, int index, SettingsArgs& args) = nullptr;  // null: read only
    void (*get)(P& params, int index, const SettingsValues& values) = nullptr;
    SettingsLine line = SettingsLine::single;
    int (*lines)(const P& params) = nullptr;  // repeated, joined: lines to write
    int capacity = 0;                         // repeated, joined: indices 0..capacity-1
};

// What a panel and its dialogs need to know of a format, beside its keywords.
struct SettingsFormatInfo {
    std::string_view header;             // "AdvancedSharpen 1.0": name and version
    std::string_view extension;          // ".as"
    std::string_view load_title;         // "Load Advanced Sharpen Settings"
    std::string_view save_title;         // "Save Advanced Sharpen Settings"
    std::string_view filter_name;        // "Advanced Sharpen Files"
    std::string_view extension_message;  // refusal of a save name with another extension
    int bad_file_code = 0;               // reported for illegal content
};

template <typename P>
struct SettingsFormat {
    SettingsFormatInfo info;
    std::span<const SettingsKeyword<P>> keywords;
};

// A keyword table seen without its parameter type, so that the reader and
// writer are written once.
class SettingsTable {
public:
    virtual ~SettingsTable() = default;
    virtual std::size_t size() const = 0;
    virtual std::string_view format(std::size_t k) const = 0;
    virtual SettingsLine line(std::size_t k) const = 0;
    virtual int capacity(std::size_t k) const = 0;
    virtual bool written(std::size_t k) const = 0;
    virtual int lines(std::size_t k) const = 0;
    virtual void put(std::size_t k, int index, SettingsArgs& args) const = 0;
    virtual void get(std::size_t k, int index, const SettingsValues& values) = 0;
};

// Reads a settings file from its header to its `end`: 0, or the format's bad
// file code for a wrong header, an unknown keyword, a count of 257 or more, an
// index outside the table, a read failure or a missing `end`. What was stored
// before a failure stays stored.
[[nodiscard]] int settings_read_table(TextFile& file, std::string_view header, int bad_file_code,
                                      SettingsTable& table);
// Writes the header, every keyword in table order, and `end`: 0 or 6.
[[nodiscard]] int settings_write_table(TextFile& file, std::string_view header,
                                       const SettingsTable& table);

namespace settings_detail {

template <typename P>
class TableOf final : public SettingsTable {
public:
    TableOf(std::span<const SettingsKeyword<P>> rows, const P* in, P* out)
        : rows_(rows), in_(in), out_(out) {}
    std::size_t size() const override { return rows_.size(); }
    std::string_view format(std::size_t k) const override { return rows_[k].format; }
    SettingsLine line(std::size_t k) const override { return rows_[k].line; }
    int capacity(std::size_t k) const override { return rows_[k].capacity; }
    bool written(std::size_t k) const override { return rows_[k].put != nullptr; }
    int lines(std::size_t k) const override { return rows_[k].lines ? rows_[k].lines(*in_) : 0; }
    void put(std::size_t k, int index, SettingsArgs& args) const override {
        rows_[k].put(*in_, index, args);
    }
    void get(std::size_t k, int index, const SettingsValues& values) override {
        if (rows_[k].get) rows_[k].get(*out_, index, values);
    }

private:
    std::span<const SettingsKeyword<P>> rows_;
    const P* in_;
    P* out_;
};

template <typename T>
struct MemberOf;
template <typename C, typename T>
struct MemberOf<T C::*> {
    using Class = C;
    using Type = T;
};
template <auto M>
using ClassOf = typename MemberOf<decltype(M)>::Class;
template <auto M>
using TypeOf = typename MemberOf<decltype(M)>::Type;

template <typename T>
void store(T& target, const SettingsValues& values, int k) {
    if constexpr (std::is_same_v<T, std::string>) {
        target = std::string(values.text(k));
    } else if constexpr (std::is_same_v<T, bool>) {
        target = values.integer(k) != 0;
    } else if constexpr (std::is_floating_point_v<T>) {
        target = static_cast<T>(values.real(k));
    } else {
        static_assert(std::is_integral_v<T>, "a settings value is a number or a string");
        target = static_cast<T>(values.integer(k));
    }
}

template <typename T>
FormatArg arg(const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return FormatArg(value ? 1 : 0);
    } else {
        return FormatArg(value);
    }
}

// A member may be an array: its elements are values one after another.
template <typename T>
void put_all(const T& value, SettingsArgs& args) {
    if constexpr (std::is_array_v<T>) {
        for (const auto& element : value)
            put_all(element, args);
    } else {
        args.push_back(arg(value));
    }
}

template <typename T>
void get_all(T& value, const SettingsValues& values, int& k) {
    if constexpr (std::is_array_v<T>) {
        for (auto& element : value)
            get_all(element, values, k);
    } else {
        store(value, values, k++);
    }
}

template <typename A>
constexpr int extent() {
    if constexpr (std::is_array_v<A>) {
        return static_cast<int>(std::extent_v<A>);
    } else {
        return static_cast<int>(std::tuple_size_v<A>);
    }
}

}  // namespace settings_detail

// Table rows for plain members, so that most formats need no code at all.
// A member that is an array stands for all its elements in turn.
//   settings_value<&P::radius>("radius %4f")
//   settings_value<&P::low, &P::high>("blurthresh %d %d")
//   settings_value<&P::white>("white %d %d %d")  (int white[3])
//   settings_count<&P::npts>("npts %d")
//   settings_repeat<&P::npts, &P::x, &P::y>("point %d %d %d")  (x, y arrays)
//   settings_word<&P::style, style_words>("style %s")
template <auto First, auto... Rest>
constexpr SettingsKeyword<settings_detail::ClassOf<First>> settings_value(std::string_view format) {
    using P = settings_detail::ClassOf<First>;
    SettingsKeyword<P> row{format};
    row.put = [](const P& p, int, SettingsArgs& args) {
        settings_detail::put_all(p.*First, args);
        (settings_detail::put_all(p.*Rest, args), ...);
    };
    row.get = [](P& p, int, const SettingsValues& values) {
        int k = 0;
        settings_detail::get_all(p.*First, values, k);
        (settings_detail::get_all(p.*Rest, values, k), ...);
    };
    return row;
}

template <auto Count>
constexpr SettingsKeyword<settings_detail::ClassOf<Count>> settings_count(std::string_view format) {
    auto row = settings_value<Count>(format);
    row.line = SettingsLine::count;
    return row;
}

template <auto Count, auto First, auto... Rest>
constexpr SettingsKeyword<settings_detail::ClassOf<First>> settings_repeat(
    std::string_view format, SettingsLine line = SettingsLine::repeated) {
    using P = settings_detail::ClassOf<First>;
    SettingsKeyword<P> row{format};
    row.line = line;
    row.lines = [](const P& p) { return static_cast<int>(p.*Count); };
    row.capacity = std::min({settings_detail::extent<settings_detail::TypeOf<First>>(),
                             settings_detail::extent<settings_detail::TypeOf<Rest>>()...});
    row.put = [](const P& p, int i, SettingsArgs& args) {
        settings_detail::put_all((p.*First)[i], args);
        (settings_detail::put_all((p.*Rest)[i], args), ...);
    };
    row.get = [](P& p, int i, const SettingsValues& values) {
        int k = 0;
        settings_detail::get_all((p.*First)[i], values, k);
        (settings_detail::get_all((p.*Rest)[i], values, k), ...);
    };
    return row;
}

// An integer member written as one of `Words` (a static array of
// std::string_view); an unknown word on reading leaves the member as it was.
template <auto Member, const auto& Words>
constexpr SettingsKeyword<settings_detail::ClassOf<Member>> settings_word(std::string_view format) {
    using P = settings_detail::ClassOf<Member>;
    SettingsKeyword<P> row{format};
    row.put = [](const P& p, int, SettingsArgs& args) {
        const auto n = static_cast<int>(std::size(Words));
        const int v = static_cast<int>(p.*Member);
        args.push_back(FormatArg(Words[v >= 0 && v < n ? v : 0]));
    };
    row.get = [](P& p, int, const SettingsValues& values) {
        const int v = values.word(0, Words);
        if (v >= 0) p.*Member = static_cast<settings_detail::TypeOf<Member>>(v);
    };
    return row;
}

template <typename P>
[[nodiscard]] int settings_read(TextFile& file, const SettingsFormat<P>& format, P& params) {
    settings_detail::TableOf<P> table(format.keywords, &params, &params);
    return settings_read_table(file, format.info.header, format.info.bad_file_code, table);
}

template <typename P>
[[nodiscard]] int settings_write(TextFile& file, const SettingsFormat<P>& format, const P& params) {
    settings_detail::TableOf<P> table(format.keywords, &params, nullptr);
    return settings_write_table(file, format.info.header, table);
}
