// Directory search for the folder walker and the mount table for the drive list.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvi::platform {

/// One entry of a folder as the directory search returns it ("." and ".." excluded).
struct DirEntry {
  std::string name;
  bool is_dir = false;      ///< a folder, or a symbolic link to one
  bool is_symlink = false;  ///< the entry itself is a symbolic link
  bool is_regular = false;  ///< a regular file, or a symbolic link to one
  double size = 0;          ///< bytes of a file (0 for folders and dangling links)
};

/// Result of reading one folder: its entries sorted by name, or the errno that stopped it.
struct DirListing {
  std::vector<DirEntry> entries;
  int error = 0;  ///< errno; 0 on success
};

/// Reads the whole folder before returning (no search stays open while the caller recurses).
DirListing ReadDirectory(const std::string& folder);
/// One line of the mount table.
struct MountPoint {
  std::string device;
  std::string dir;
  std::string type;
};

/// The mount table of this process (/proc/self/mounts), in its order.
std::vector<MountPoint> ReadMounts();
/// True when the block device (e.g. "/dev/sdb1") belongs to a disk the kernel marks removable.
bool IsRemovableBlockDevice(const std::string& device);

}  // namespace quorvi::platform
