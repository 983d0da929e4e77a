// orvane-batch's transformation commands.
//   orvane-batch apply NAME [keyword values...] [--settings FILE] IN OUT
//   orvane-batch list
//   orvane-batch help NAME (batch_help.h)
#pragma once

#include <string>
#include <vector>

// Applies the transformation titled NAME (without regard to case; `_` may
// stand for a blank) to IN and writes OUT, in the format of OUT's name. The
// parameters start from the transformation's built-in values, take the
// settings file when one is given, then the keyword lines, written as in a
// workflow block ("colorspace_method 0 1 amount 512 -1 0 0 Amount: "): a word
// that is one of the transformation's keywords starts a line. Returns 0, the
// error code, or 255 for a command line that cannot be understood.
int batch_apply(const std::vector<std::string>& args);

// Prints the catalogue by menu group, each transformation marked "built" or
// "not yet", with its menu command.
int batch_list();
