#include "benchmarks/peers/contestant.h"

#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace {

// Of all threads of the process, those that have ended too.
long long ProcessCpuUs() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const auto us = [](const timeval& t) { return 1'000'000LL * t.tv_sec + t.tv_usec; };
  return us(usage.ru_utime) + us(usage.ru_stime);
}

std::string Answer(const Words& words, const std::function<std::unique_ptr<Contestant>(const Words&)>& prepare,
                   std::unique_ptr<Contestant>* contestant) {
  if (!*contestant) {
    *contestant = prepare(words);
    return "ready";
  }
  if (words.size() == 2 && words[0] == "make") {
    const unsigned long count = std::stoul(words[1]);
    const long long start = ProcessCpuUs();
    (*contestant)->Make(static_cast<unsigned int>(count));
    return std::to_string(ProcessCpuUs() - start);
  }
  if (words.size() == 2 && words[0] == "write") {
    const std::vector<unsigned char> bytes = (*contestant)->Latest();
    std::ofstream file(words[1], std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("cannot write " + words[1]);
    return "written";
  }
  throw std::runtime_error("not a command");
}

}  // namespace

int Serve(const std::function<std::unique_ptr<Contestant>(const Words&)>& prepare) {
  // What a library prints goes to the standard error, so that it does not stand among the answers.
  FILE* const answers = fdopen(dup(STDOUT_FILENO), "w");
  dup2(STDERR_FILENO, STDOUT_FILENO);
  if (!answers) return 1;
  std::unique_ptr<Contestant> contestant;
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) words.push_back(word);
    std::string answer;
    try {
      answer = Answer(words, prepare, &contestant);
    } catch (const std::exception& failure) {
      answer = std::string("no ") + failure.what();
    }
    fprintf(answers, "%s\n", answer.c_str());
    fflush(answers);
  }
  return 0;
}

void AppendRows(std::vector<unsigned char>* bytes, const void* first, std::size_t pitch, std::size_t row_size,
                std::size_t rows) {
  const auto* row = static_cast<const unsigned char*>(first);
  for (std::size_t y = 0; y < rows; ++y, row += pitch) bytes->insert(bytes->end(), row, row + row_size);
}
