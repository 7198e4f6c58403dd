// Text rules of the Qt provider that need no display: access keys of captions, message lines
// and file dialog filters.
#pragma once

#include <string>

namespace quorvi::qt {

/// The access key of a caption ("Overwrite(&O)" gives 'O'), upper case; 0 when there is none.
/// "&&" is a literal ampersand, as Qt reads it.
char AccessKey(const std::string& caption);

/// The component's message text as a label shows it: CR LF and lone CR become line ends.
std::string LabelText(const std::string& message);

/// A ";"-separated pattern list ("*.txt;*.doc") as a Qt name filter ("Files (*.txt *.doc)").
/// "*.*" matches every file (a name without a dot too), as the component means it.
std::string NameFilter(const std::string& patterns);

}  // namespace quorvi::qt
