#include "local/drives.h"

#include <array>
#include <set>
#include <string_view>

#include "platform/directory_scan.h"

namespace quorvi::detail {
namespace {

constexpr std::int16_t kRemovable = 2, kFixed = 3, kNetwork = 4, kOptical = 5, kRamDisk = 6;

struct TypeRule {
  std::string_view fs_type;
  std::int16_t drive_type;
};

// File systems whose type alone decides; anything block-backed and not listed here is a disk.
constexpr std::array kTypeRules{
    TypeRule{"tmpfs", kRamDisk},     TypeRule{"ramfs", kRamDisk}, TypeRule{"nfs", kNetwork},
    TypeRule{"nfs4", kNetwork},      TypeRule{"cifs", kNetwork},  TypeRule{"smb3", kNetwork},
    TypeRule{"smbfs", kNetwork},     TypeRule{"9p", kNetwork},    TypeRule{"ceph", kNetwork},
    TypeRule{"glusterfs", kNetwork}, TypeRule{"afs", kNetwork},   TypeRule{"fuse.sshfs", kNetwork},
    TypeRule{"iso9660", kOptical},   TypeRule{"udf", kOptical},   TypeRule{"overlay", kFixed},
    TypeRule{"zfs", kFixed},         TypeRule{"btrfs", kFixed},
};

}  // namespace

std::int16_t ClassifyMount(const std::string& fs_type, const std::string& device, bool removable) {
  for (const TypeRule& rule : kTypeRules) {
    if (rule.fs_type == fs_type) return rule.drive_type;
  }
  if (device.rfind("/dev/", 0) != 0) return 0;
  return removable ? kRemovable : kFixed;
}

std::string GetDriveNames(std::int16_t drive_type, const std::function<void()>& pump) {
  std::string out;
  std::set<std::string> seen;
  for (const platform::MountPoint& m : platform::ReadMounts()) {
    const std::int16_t type =
        ClassifyMount(m.type, m.device, platform::IsRemovableBlockDevice(m.device));
    const bool taken = type != 0 && (drive_type < 1 || type == drive_type);
    if (taken && seen.insert(m.dir).second) out += (out.empty() ? "" : "|") + m.dir;
    if (pump) pump();
  }
  return out;
}

}  // namespace quorvi::detail
