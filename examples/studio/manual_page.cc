// The pages of the manual, in man's macros.
#include <cstdlib>
#include <ctime>
#include <sstream>

#include <quarn/version.h>

#include "studio/command_help.h"

namespace studio {
namespace {

constexpr std::size_t kColumns = 72;

// What the formatter would take for a sign of its own. In what is typed, a hyphen is to be one.
std::string Escaped(const std::string& text, bool is_typed) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (is_typed && (c == '-' || c == '\'' || c == '^' || c == '~' || c == '`')) {
      escaped += c == '\'' ? "\\(aq" : c == '^' ? "\\(ha" : c == '~' ? "\\(ti" : c == '`' ? "\\(ga" : "\\-";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string Bold(const std::string& text) { return "\\fB" + Escaped(text, true) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Escaped(text, true) + "\\fR"; }

// A line that begins like a request is none.
std::string Line(const std::string& line) {
  return (line.front() == '.' || line.front() == '\'' ? "\\&" : "") + line + "\n";
}

// Words in lines of their width, each of which ends with `more` but the last.
std::string Filled(const std::string& text, const std::string& more, const std::string& indent) {
  std::istringstream words(text);
  std::string lines, line;
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > kColumns) {
      lines += Line(line + more);
      line = indent;
    } else if (!line.empty()) {
      line += ' ';
    }
    line += word;
  }
  return line.empty() ? lines : lines + Line(line);
}

std::string Paragraph(const std::string& text) { return Filled(Escaped(text, false), "", ""); }

std::string Title(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

// The day of the build, or the one that whoever builds it again asks for.
std::string Date() {
  const char* const wanted = std::getenv("SOURCE_DATE_EPOCH");
  const std::time_t time = wanted ? static_cast<std::time_t>(std::strtoll(wanted, nullptr, 10)) : std::time(nullptr);
  std::tm date = {};
  gmtime_r(&time, &date);
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%d", &date);
  return text;
}

std::string OptionEntry(const CLI::Option& option) {
  std::string names;
  for (const std::string& name : NamesOf(option)) names += (names.empty() ? "" : ", ") + Bold(name);
  if (TakesValue(option)) names += " " + Italic(option.get_type_name());
  return ".TP\n" + Line(names) + Paragraph(option.get_description());
}

std::string Section(const HelpSection& section) {
  std::string page = ".SH " + Title(section.title) + "\n";
  bool is_first = true;
  for (const HelpPiece& piece : PiecesOf(section.text)) {
    switch (piece.kind) {
      case HelpPiece::kParagraph: page += (is_first ? "" : ".PP\n") + Paragraph(piece.text); break;
      case HelpPiece::kTerm: page += ".TP\n" + Line(Bold(piece.name)) + Paragraph(piece.text); break;
      case HelpPiece::kExample:
        page +=
            std::string(is_first ? "" : ".PP\n") + ".nf\n" + Filled(Escaped(piece.text, true), " \\e", "   ") + ".fi\n";
        break;
    }
    is_first = false;
  }
  return page;
}

}  // namespace

std::string ManualPage(const CommandHelp& help) {
  const std::string program = help.app->get_name();
  std::string about = help.app->get_description();
  const std::string version = std::to_string(QUARN_VERSION_MAJOR) + "." + std::to_string(QUARN_VERSION_MINOR) + "." +
                              std::to_string(QUARN_VERSION_PATCH);
  std::string page = ".TH " + Title(program) + " 1 " + Date() + " \"Quarn " + version + "\" \"User Commands\"\n";
  page += ".SH NAME\n";
  std::string line = about.substr(0, about.find_last_not_of('.') + 1);
  line.front() = static_cast<char>(line.front() - 'A' + 'a');
  page += Filled(Escaped(program, true) + " \\- " + line, "", "");
  page += ".SH SYNOPSIS\n" + Bold(program) + " [" + Italic("OPTION") + "]...\n";
  page += ".SH DESCRIPTION\n" + Paragraph(about) + ".SH OPTIONS\n";
  std::string group = "Options";
  for (const CLI::Option* option : help.Options()) {
    if (option->get_group() != group) page += ".SS " + option->get_group() + "\n";
    group = option->get_group();
    page += OptionEntry(*option);
  }
  for (const HelpSection& section : help.sections) page += Section(section);
  page +=
      ".SH EXIT STATUS\n.TP\n0\nAll went well.\n.TP\n1\nSomething failed; a line on the error output says what.\n"
      ".TP\n2\nThe command line, or the scene file that it names, is wrong.\n";
  const std::string other = program == "quarn-record" ? "quarn-preview" : "quarn-record";
  return page + ".SH SEE ALSO\n" + Bold(other) + "(1), " + Bold("ffmpeg") + "(1)\n";
}

}  // namespace studio
