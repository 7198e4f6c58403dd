// FtpLibrary's progress reads.
#include <quorvi/ftp_library.h>

#include "component/core.h"

namespace quorvi {

using detail::Guarded;

double FtpLibrary::FileSize() const { return core_->transfer.progress.file_size; }

std::int16_t FtpLibrary::TotalPercent() const { return core_->transfer.progress.total_percent; }

double FtpLibrary::TotalTransferSize() const {
  return core_->transfer.progress.total_transfer_size;
}

double FtpLibrary::TotalFileSize() const { return core_->transfer.progress.total_file_size; }

std::int32_t FtpLibrary::Speed() const { return core_->transfer.progress.speed; }

std::int32_t FtpLibrary::SpeedAvg() const {
  return Guarded(*core_, "SpeedAvg", 0, [&] { return core_->transfer.progress.SpeedAvg(); });
}

std::int32_t FtpLibrary::ElapsedTime() const {
  return Guarded(*core_, "ElapsedTime", 0, [&] { return core_->transfer.progress.ElapsedTime(); });
}

std::int32_t FtpLibrary::ElapsedTimeCurFile() const {
  return Guarded(*core_, "ElapsedTimeCurFile", 0,
                 [&] { return core_->transfer.progress.ElapsedTimeCurFile(); });
}

std::int32_t FtpLibrary::LeftTime() {
  return Guarded(*core_, "LeftTime", 0, [&] { return core_->transfer.progress.LeftTime(); });
}

}  // namespace quorvi
