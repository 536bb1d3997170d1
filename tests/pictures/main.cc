// Draws a corpus of scenes and writes down what a host gets to see of it: scripts/compare-pictures compares that with
// what an earlier state of the library shows.
//
//   quarn-pictures [--list] [--raw FOLDER] [--twice] [FILE [CASE...]]
//
// FILE receives the record: a digest for each plane of each picture, and the callbacks and messages in their order. A
// CASE names the cases that begin with it; none means all. --raw writes the bytes of every picture too. --twice draws
// each case a second time and fails where the two differ.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "tests/pictures/record.h"
#include "tests/pictures/stage.h"

namespace {

using pictures::Case;
using pictures::Record;

// What the log's handler writes to: set between cases, while no device is there to log.
Record* current_record = nullptr;

void Log(int level, const char* format, va_list args, void* /*user*/) {
  char text[4096];
  std::vsnprintf(text, sizeof(text), format, args);
  if (current_record) current_record->Message(level, text);
}

std::vector<Case> AllCases() {
  std::vector<Case> all;
  for (const auto& group : {pictures::SizeCases, pictures::ItemCases, pictures::DrawingCases, pictures::TextureCases,
                            pictures::FilterCases, pictures::ConstantCases, pictures::SceneCases, pictures::OutputCases,
                            pictures::ViewCases, pictures::StateCases}) {
    const std::vector<Case> cases = group();
    all.insert(all.end(), cases.begin(), cases.end());
  }
  return all;
}

bool IsAsked(const std::string& name, const std::vector<std::string>& asked) {
  for (const std::string& prefix : asked) {
    if (name.compare(0, prefix.size(), prefix) == 0) return true;
  }
  return asked.empty();
}

std::string Run(const Case& one, const std::string& raw_folder) {
  Record record(one.name, raw_folder);
  current_record = &record;
  {
    pictures::Stage stage(&record, one.default_device);
    one.run(&stage);
  }
  current_record = nullptr;
  std::ostringstream text;
  record.Write(&text);
  return text.str();
}

}  // namespace

int main(int argc, char** argv) {
  bool list = false;
  bool twice = false;
  std::string raw_folder;
  std::vector<std::string> names;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--list")) {
      list = true;
    } else if (!std::strcmp(argv[i], "--twice")) {
      twice = true;
    } else if (!std::strcmp(argv[i], "--raw") && i + 1 < argc) {
      raw_folder = argv[++i];
    } else {
      names.push_back(argv[i]);
    }
  }
  const std::string file = names.empty() ? "/dev/null" : names[0];
  if (!names.empty()) names.erase(names.begin());

  qn_set_log_handle(Log, nullptr);
  std::ofstream out(file);
  int differing = 0;
  int count = 0;
  for (const Case& one : AllCases()) {
    if (!IsAsked(one.name, names)) continue;
    ++count;
    if (list) {
      std::cout << one.name << "\n";
      continue;
    }
    const std::string text = Run(one, raw_folder);
    out << text << std::flush;
    if (twice && Run(one, "") != text) {
      std::cout << one.name << " is not the same a second time\n";
      ++differing;
    }
  }
  if (!list) std::cout << count << " cases, " << differing << " differ from run to run\n";
  if (!out || count == 0) return 2;
  return differing ? 1 : 0;
}
