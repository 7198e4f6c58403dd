// The drive list: mount points classified by the drive-type codes hosts know
// (2 removable, 3 fixed, 4 network, 5 optical, 6 RAM disk).
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quorvi::detail {

/// Drive type of one mount: 0 for pseudo file systems (proc, sysfs, cgroup ...), which are
/// not drives at all. removable is the kernel's removable flag of the backing disk.
std::int16_t ClassifyMount(const std::string& fs_type, const std::string& device, bool removable);

/// Mount points joined by "|"; drive_type below 1 takes every drive, otherwise only that type.
/// pump runs after each mount examined.
std::string GetDriveNames(std::int16_t drive_type, const std::function<void()>& pump = {});

}  // namespace quorvi::detail
