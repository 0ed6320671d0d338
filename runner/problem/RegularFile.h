#pragma once

// Files the user names: where a problem file's relative paths start, and
// reading a whole file (a problem file, a catalogue's CSV file) with the
// checks a careful reader makes first: a directory, a device (/dev/zero), a
// FIFO or a file larger than the limit is refused before anything is read,
// and opening never waits for a FIFO's writer. Standard input is read with
// the same limit.

#include <cstddef>
#include <stdexcept>
#include <string>

// Reads the regular file at `path`, at most `largestBytes` bytes. Throws
// std::runtime_error with a message for the user that does not repeat the
// path ("cannot open the file: No such file or directory", "is a directory,
// not a CSV file (a regular file)", "the file is larger than 16 MiB, the most
// a CSV file may hold"); `what` names the kind of file ("a CSV file").
std::string ReadRegularFile(const std::string& path, size_t largestBytes, const std::string& what);

// Reads standard input to its end, at most `largestBytes` bytes, with
// messages as ReadRegularFile's. A terminal is refused: a problem is piped
// or redirected in, never typed.
std::string ReadStandardInput(size_t largestBytes, const std::string& what);

// The folder of a file, from which the paths a problem file gives are taken:
// "." for a bare file name.
std::string FolderOfFile(const std::string& file);
