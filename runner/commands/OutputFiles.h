#pragma once

// Checks that a file the program is about to write can be written, before
// anything is created: `solve` checks its database and its log this way, so
// that a bad path leaves no other file behind.

#include <string>

// Why the file at the path cannot be written (an existing file that may not be
// written, a folder, a missing folder, a folder that may not be written), or
// "" when it can: an existing file is opened for appending, a missing one is
// created in its folder.
std::string WhyNotWritable(const std::string& path);
