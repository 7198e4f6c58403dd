// FtpLibrary: creation, destruction, events and host integration.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "component/library_version.h"
#include "ftp/session.h"

namespace quorvi {

FtpLibrary::FtpLibrary() : core_(std::make_unique<detail::Core>()) {
  // The defaults are the Core's member initialisers; the message table and the error object
  // come with the thread's shared objects. What is left of creation is the log's start.
  core_->error().StartLog(detail::kVersion);
  // Nothing is written to the registry store here: the category keys hosts look for are part
  // of the registry members' built-in view (local/registry.cpp).
  core_->abort_wake = core_->pump().AddWakeHandler([core = core_.get()] {
    if (!core->abort_requested.exchange(false)) return;
    // Only a method that waits right now is aborted: a request that arrives while the host
    // is idle must not cancel the next call.
    if (core->rt.host_calls == 0 && core->rt.operation == opNone) return;
    detail::Guarded(*core, "Abort", [core] { detail::FtpSession::Of(*core).Abort(); });
  });
}

// Subsystems stop their timers and leave a logged-in session through Core::shutdown_hooks,
// which run before any member goes; the shared objects go with the last component.
FtpLibrary::~FtpLibrary() { core_->pump().RemoveWakeHandler(core_->abort_wake); }

Event& FtpLibrary::OnTransfer() { return core_->on_transfer; }
Event& FtpLibrary::OnServerMessage() { return core_->on_server_message; }
Event& FtpLibrary::OnStateChange() { return core_->on_state_change; }
Event& FtpLibrary::OnError() { return core_->on_error; }

void FtpLibrary::SetUserInterface(std::shared_ptr<UserInterface> provider) {
  core_->ui = provider ? std::move(provider) : MakeHeadlessUserInterface();
}

void FtpLibrary::SetHostHook(std::function<void()> hook) {
  detail::Guarded(*core_, "SetHostHook", [&] { core_->pump().SetHostHook(std::move(hook)); });
}

int FtpLibrary::HostLoopFd() {
  return detail::Guarded(*core_, "HostLoopFd", -1, [&] { return core_->pump().HostFd(); });
}

std::int32_t FtpLibrary::HostLoopTimeout() {
  return core_->pump().HostTimeout();
}

void FtpLibrary::ProcessPending() {
  detail::Guarded(*core_, "ProcessPending", [&] { core_->pump().ProcessPending(); });
}

void FtpLibrary::RequestAbort() noexcept {
  core_->abort_requested.store(true);
  core_->shared->pump->Wake();
}

}  // namespace quorvi
