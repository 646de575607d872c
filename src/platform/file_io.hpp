#ifndef TVIOJSONTREE_PLATFORM_FILE_IO_HPP
#define TVIOJSONTREE_PLATFORM_FILE_IO_HPP

/// What the host's file library (libtviocommonfile) gives us: whole files in and out.

#include <cstddef>
#include <string>
#include <vector>

namespace ostra::io::common::file {

/// Reads a whole file.
///
/// @param path  the file's path.
/// @return all its bytes, as stored.
/// @throws std::exception  if it cannot be read; `what()` carries path and reason.
std::vector<char> readall(const std::u16string& path);

/// Writes a whole file, replacing what was there.
///
/// @param path  the file's path.
/// @param data  the first of `size` bytes; may be null when `size` is 0.
/// @param size  bytes to write.
/// @throws std::exception  if it cannot be written; `what()` carries path and reason, and a
///                         regular file that stood there before is as it was.
void writeall(const std::u16string& path, const char* data, std::size_t size);

} // namespace ostra::io::common::file

#endif
