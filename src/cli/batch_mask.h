// orvane-batch mask: a mask made from a saved polygon or spline outline at
// the size of a reference picture, so that a batch applies a transformation
// through the same outline on many pictures.
#pragma once

#include <string>
#include <vector>

// mask OUTLINE.poly|OUTLINE.spline [--feather W] REFERENCE OUT. 0, the error
// code of a failure, or 255 for a command line that cannot be understood.
int batch_mask(const std::vector<std::string>& args);
