// The English message texts the replace and rename dialogs read, for tests.
#pragma once

#include <map>
#include <string>

inline std::string English(int index) {
  static const std::map<int, std::string> texts{
      {13, "The folder already contains a file named [ {0} ]"},
      {14, "Please input filename!"},
      {15, "New Filename"},
      {22,
       "This folder already contains a file named '{0}'.\\nWould you like to replace the "
       "existing file\\n {1} Bytes , {2}\\nwith this one?\\n{3} Bytes , {4}\\n"},
      {23, "Confirm File Replace"},
      {24, "Overwrite"},
      {25, "Resume"},
      {26, "Skip"},
      {27, "Rename"},
      {28, "Overwrite All"},
      {29, "Resume All"},
      {30, "Skip All"},
      {31, "OK"},
      {32, "Cancel"}};
  const auto it = texts.find(index);
  return it == texts.end() ? "" : it->second;
}
