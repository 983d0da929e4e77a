// What a user needs to write an `apply` line: the values of a transformation
// with their ranges, words and defaults, the lines that set them, and an
// example command made from the defaults. All of it comes from the field table
// and the workflow lines, so every transformation gets it as it is built.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct TransformDescriptor;

// orvane-batch help NAME: 0, or 255 with a message for an unknown name.
int batch_help(std::string_view name);

// The workflow lines of the built-in values, each as the words a command line
// gives for it (keyword first). Empty when memory runs out.
std::vector<std::vector<std::string>> batch_default_lines(const TransformDescriptor& d);

// The command line's words for one line of a workflow block: split at blanks,
// a trailing blank kept with the word before it, so that joining the words
// with single blanks gives the line back.
std::vector<std::string> batch_line_words(std::string_view line);

// A word as a shell reads it back unchanged: quoted when it has a blank, a
// quote or another character the shell would take.
std::string batch_shell_word(std::string_view word);
