#include "transfer/transfer_event.h"

#include "component/core.h"

namespace quorvi::detail {

void RaiseTransferEvent(Core& core, const std::function<void()>& abort) {
  TransferState& t = core.transfer;
  StatusLine line;
  if (!t.status.Folder().empty()) {
    line = {t.lists.queue_index,   t.lists.queue_total,   core.rt.percent,
            core.rt.transfer_size, t.progress.file_size,  t.progress.speed,
            t.progress.SpeedAvg(), t.progress.LeftTime(), t.progress.ElapsedTime()};
  }
  t.status.RaiseTransferEvent(line, abort, [&core] { core.on_transfer.Raise(); });
}

}  // namespace quorvi::detail
