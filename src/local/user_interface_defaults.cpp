// Headless answers of the file dialogs, about box and window-order members: dialogs are
// cancelled, the about box and window raising do nothing (there is no screen to show them on).
#include <quorvi/user_interface.h>

namespace quorvi {

std::string UserInterface::BrowseFolder(const std::string&, const std::string&) { return {}; }

std::string UserInterface::SaveFile(const std::string&, const std::string&, const std::string&) {
  return {};
}

std::vector<std::string> UserInterface::OpenFile(const std::string&, const std::string&, bool) {
  return {};
}

void UserInterface::About(const std::string&, const std::string&) {}

void UserInterface::SetWindowTopMost(std::intptr_t, bool) {}

void UserInterface::SetTopMostByCaption(const std::string&, bool) {}

}  // namespace quorvi
