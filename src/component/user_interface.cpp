#include <quorvi/user_interface.h>

#include "component/error_object.h"

namespace quorvi {

void UserInterface::MessageBox(const std::string& text, const std::string& title) {
  // Nobody can see a box without a screen: keep the text where a person will look later.
  detail::WriteLog("MessageBox:" + title + "|" + text);
}

std::shared_ptr<UserInterface> MakeHeadlessUserInterface() {
  return std::make_shared<UserInterface>();
}

}  // namespace quorvi
