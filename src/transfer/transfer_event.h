// The transfer event: status file first, then OnTransfer.
#pragma once

#include <functional>

namespace quorvi::detail {

class Core;

/// Writes trans.sta from the component's progress fields, acts on cancel.sta by calling abort
/// (the session's Abort), then raises OnTransfer.
void RaiseTransferEvent(Core& core, const std::function<void()>& abort);

}  // namespace quorvi::detail
