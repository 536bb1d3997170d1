// What a program tells of its command line: --help, and, made of the same options and texts, its manual page and the
// completion of the shells.
#ifndef QUARN_EXAMPLES_STUDIO_COMMAND_HELP_H_
#define QUARN_EXAMPLES_STUDIO_COMMAND_HELP_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace studio {

// A part of what --help prints behind the options. Its lines are paragraphs, or, indented by two, examples and terms,
// which two spaces or more keep from what they mean; lines that are indented further go on with that.
struct HelpSection {
  std::string title;
  std::string text;
  // The options whose values go on with ",KEY=VALUE": the section's terms say which keys.
  std::vector<std::string> options;
};

// A piece of a section: a paragraph, a term or an example.
struct HelpPiece {
  enum Kind { kParagraph, kTerm, kExample } kind;
  std::string name;  // Of a term.
  std::string text;
};

std::vector<HelpPiece> PiecesOf(const std::string& text);

// The values of options that have a few of them only, by the option's long name.
using OptionWords = std::map<std::string, std::vector<std::string>>;

// What pages are made of.
struct CommandHelp {
  const CLI::App* app;
  std::vector<HelpSection> sections;
  OptionWords words;

  // The options that --help shows, in its order.
  std::vector<const CLI::Option*> Options() const;
  // What may follow in the value of an option: "pos=", "loop", ...
  std::vector<std::string> KeysOf(const CLI::Option& option) const;
};

// "--long", or "-s" where it has no long name.
std::string NameOf(const CLI::Option& option);
// "-s", "--long".
std::vector<std::string> NamesOf(const CLI::Option& option);
bool TakesValue(const CLI::Option& option);

// A page of the manual, in man's macros.
std::string ManualPage(const CommandHelp& help);
// What has a shell ("bash", "zsh", "fish") complete the command line.
std::string Completion(const CommandHelp& help, const std::string& shell);

// Reads the command line. Returns false where it asked for something that has been printed, such as --help. Throws
// UsageError.
bool ParseCommandLine(CLI::App* app, int argc, const char* const* argv);

// Has --help print the sections behind the options, and adds an option that it does not show: --help-as man, bash, zsh
// or fish, of which the pages that are installed are made. `words` is asked for those only.
void AddHelp(CLI::App* app, std::vector<HelpSection> sections, std::function<OptionWords()> words);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_COMMAND_HELP_H_
