#include "studio/command_help.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <utility>

#include "studio/error.h"

namespace studio {
namespace {

// What --help-as prints. Throws UsageError for a format that there is not.
std::string PageAs(const CommandHelp& help, const std::string& format) {
  std::string page = format == "man" ? ManualPage(help) : Completion(help, format);
  if (page.empty()) throw UsageError("--help-as " + format + ": must be man, bash, zsh or fish");
  page.pop_back();  // Whoever prints it ends the last line.
  return page;
}

}  // namespace

std::vector<HelpPiece> PiecesOf(const std::string& text) {
  std::vector<HelpPiece> pieces;
  std::istringstream lines(text);
  bool goes_on = false;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t indent = line.find_first_not_of(' ');
    if (indent == std::string::npos) {
      goes_on = false;
      continue;
    }
    std::string rest = line.substr(indent);
    if (indent > 2 && !pieces.empty()) {
      pieces.back().text += " " + rest;
      continue;
    }
    if (indent == 0) {
      if (goes_on) {
        pieces.back().text += " " + rest;
      } else {
        pieces.push_back({HelpPiece::kParagraph, "", std::move(rest)});
      }
      goes_on = true;
      continue;
    }
    goes_on = false;
    const std::size_t gap = rest.find("  ");
    if (gap == std::string::npos) {
      pieces.push_back({HelpPiece::kExample, "", std::move(rest)});
    } else {
      pieces.push_back({HelpPiece::kTerm, rest.substr(0, gap), rest.substr(rest.find_first_not_of(' ', gap))});
    }
  }
  return pieces;
}

std::vector<const CLI::Option*> CommandHelp::Options() const {
  return app->get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<std::string> CommandHelp::KeysOf(const CLI::Option& option) const {
  std::vector<std::string> keys;
  for (const HelpSection& section : sections) {
    if (std::find(section.options.begin(), section.options.end(), NameOf(option)) == section.options.end()) continue;
    for (const HelpPiece& piece : PiecesOf(section.text)) {
      if (piece.kind == HelpPiece::kTerm) keys.push_back(piece.name.substr(0, piece.name.find('=') + 1));
      if (piece.kind == HelpPiece::kTerm && keys.back().empty()) keys.back() = piece.name;
    }
  }
  return keys;
}

std::string NameOf(const CLI::Option& option) { return NamesOf(option).back(); }

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

bool ParseCommandLine(CLI::App* app, int argc, const char* const* argv) {
  try {
    app->parse(argc, argv);
    return true;
  } catch (const CLI::Success& asked) {
    app->exit(asked);
    return false;
  } catch (const CLI::ExtrasError&) {
    const std::vector<std::string> rest = app->remaining();
    const auto words = std::find(rest.begin(), rest.end(), "--");  // Behind it there are no options.
    const auto option = std::find_if(rest.begin(), words, [](const std::string& word) {
      return word.size() > 1 && word[0] == '-' && !std::isdigit(static_cast<unsigned char>(word[1]));
    });
    if (option != words) {
      throw UsageError("unknown option \"" + option->substr(0, option->find('=')) + "\" (--help lists them all)");
    }
    const std::string& word = rest.front() == "--" && rest.size() > 1 ? rest[1] : rest.front();
    throw UsageError("unexpected argument \"" + word + "\" (--help tells what goes)");
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
}

void AddHelp(CLI::App* app, std::vector<HelpSection> sections, std::function<OptionWords()> words) {
  std::string footer;
  for (const HelpSection& section : sections) footer += section.text;
  app->footer(footer);
  // The option that is not shown comes before all others: behind them its group would leave an empty line.
  app->set_help_flag();
  app->add_option_function<std::string>(
         "--help-as",
         [app, sections = std::move(sections), words = std::move(words)](const std::string& format) {
           const CommandHelp help{app, sections, words()};
           throw CLI::CallForVersion(PageAs(help, format), 0);
         })
      ->group("")
      ->trigger_on_parse();
  app->set_help_flag("-h,--help", "Print this help message and exit");
}

}  // namespace studio
