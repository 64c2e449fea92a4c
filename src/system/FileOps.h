// SPDX-License-Identifier: MIT

#pragma once

// FileOps: operations on the paths of files that say something by being there.
// Blocks: as long as the disk does; never for a pipe or a device in the place of the file.
class FileOps {
  public:
    // Creates the file, or empties the one that is there. False, with a line in the log, when that fails.
    static bool createFile(const char* path);
    // Whether the file can be opened for reading.
    [[nodiscard]] static bool existFile(const char* path);
    // Removes the file, or an empty directory. The result of remove(): 0, or -1 and errno.
    static int deleteFile(const char* path);
    // Creates one directory, with the mode 0777 before the umask. True also for a directory that is there already.
    [[nodiscard]] static bool createDir(const char* path);
};
