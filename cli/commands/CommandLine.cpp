#include "cli/commands/CommandLine.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>

#include "cli/base/Failure.h"

namespace cli {

namespace {

constexpr std::size_t mostDifferences = 2;
constexpr std::size_t widestWords = 16;

// Commands that a group means when no word follows.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> standardWords{
    {{"params", "explain"}, {"regs", "explain"}, {"lines", "get"}, {"dip", "get"}}};

// Options of all commands that stand before the command and take a value.
constexpr std::array<std::string_view, 5> optionsWithValues{"--board", "--index", "--boards", "--scene",
                                                            "--trace"};

bool isHelp(const std::string& word) { return word == "--help" || word == "-h" || word == "/?"; }

std::size_t differences(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

std::pair<std::string, std::string> split(std::string_view words) {
  const std::size_t blank = words.find(' ');
  if (blank == std::string_view::npos) return {std::string(words), ""};
  return {std::string(words.substr(0, blank)), std::string(words.substr(blank + 1))};
}

std::vector<std::string> firstWords(std::span<const Command> commands) {
  std::vector<std::string> words{"help"};
  for (const Command& command : commands) {
    const std::string first = split(command.words).first;
    if (words.back() != first) words.push_back(first);
  }
  return words;
}

std::vector<std::string> secondWords(const std::string& group, std::span<const Command> commands) {
  std::vector<std::string> words;
  for (const Command& command : commands) {
    const auto [first, second] = split(command.words);
    if (first == group && !second.empty()) words.push_back(second);
  }
  return words;
}

const Command* find(const std::string& words, std::span<const Command> commands) {
  const auto found =
      std::ranges::find_if(commands, [&words](const Command& command) { return words == command.words; });
  return found == commands.end() ? nullptr : &*found;
}

std::string listOf(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

// Options may stand before the command: they are moved behind it.
std::vector<std::string> withCommandFirst(std::vector<std::string> arguments) {
  std::size_t count = 0;
  while (count < arguments.size() && arguments[count].starts_with("--") && !isHelp(arguments[count]) &&
         arguments[count] != "--version") {
    const bool takesValue = std::ranges::find(optionsWithValues, arguments[count]) != optionsWithValues.end();
    count += takesValue ? 2 : 1;
  }
  count = std::min(count, arguments.size());
  std::rotate(arguments.begin(), arguments.begin() + static_cast<std::ptrdiff_t>(count), arguments.end());
  return arguments;
}

[[noreturn]] void refuse(const std::string& what, const std::string& word,
                         const std::vector<std::string>& candidates, const std::string& help) {
  const std::string nearest = nearestWord(word, candidates);
  throw UsageFailure(what + " '" + word + "'" + (nearest.empty() ? "" : ", did you mean '" + nearest + "'?"),
                     help);
}

// The second word of a command in a group: its place among the arguments, or nothing when it is left out.
std::optional<std::size_t> findSecondWord(const std::vector<std::string>& arguments,
                                          const std::vector<std::string>& words) {
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (std::ranges::find(words, arguments[i]) != words.end()) return i;
  }
  return std::nullopt;
}

CommandLine inGroup(std::vector<std::string> arguments, std::span<const Command> commands) {
  const std::string group = arguments[0];
  const std::vector<std::string> words = secondWords(group, commands);
  if (words.empty()) {
    refuse("there is no command", group, firstWords(commands), "kvexa help lists the commands");
  }
  std::string second;
  if (const auto place = findSecondWord(arguments, words)) {
    second = arguments[*place];
    arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(*place));
  } else {
    const auto* const standard = std::ranges::find_if(
        standardWords, [&group](const auto& candidate) { return candidate.first == group; });
    if (standard == standardWords.end()) {
      if (arguments.size() < 2 || arguments[1].starts_with("-")) {
        throw UsageFailure("'" + group + "' needs one of " + listOf(words), "kvexa help " + group);
      }
      refuse("there is no command '" + group + "' with", arguments[1], words,
             "kvexa help " + group + " lists them");
    }
    second = standard->second;
  }
  arguments.erase(arguments.begin());
  const Command* const found = find(group + " " + second, commands);
  return {found, false, "", std::move(arguments)};
}

CommandLine helpOn(std::vector<std::string> words, std::span<const Command> commands) {
  std::erase_if(words, [](const std::string& word) { return word.starts_with("-"); });
  if (words.empty()) return {};
  const std::string group = words.size() > 1 ? words[0] + " " + words[1] : words[0];
  if (const Command* const found = find(group, commands)) return {found, false, "", {"--help"}};
  if (words.size() > 1 || secondWords(words[0], commands).empty()) {
    refuse("there is no command", words.back(),
           words.size() > 1 ? secondWords(words[0], commands) : firstWords(commands),
           "kvexa help lists the commands");
  }
  return {nullptr, false, words[0], {}};
}

}  // namespace

std::string nearestWord(std::string_view word, const std::vector<std::string>& candidates) {
  std::string nearest;
  std::size_t least = mostDifferences + 1;
  for (const std::string& candidate : candidates) {
    const std::size_t count = differences(word, candidate);
    if (count < least && count < candidate.size()) {
      least = count;
      nearest = candidate;
    }
  }
  return nearest;
}

CommandLine readCommandLine(const std::vector<std::string>& given, std::span<const Command> commands) {
  std::vector<std::string> arguments = withCommandFirst(given);
  if (arguments.empty()) {
    throw UsageFailure("a subcommand is needed", "kvexa help lists them; for a first look: kvexa list");
  }
  if (arguments[0] == "--version") return {nullptr, true, "", {}};
  if (arguments[0] == "help") {
    return helpOn({arguments.begin() + 1, arguments.end()}, commands);
  }
  if (isHelp(arguments[0])) return {};
  if (arguments[0].starts_with("-")) {
    throw UsageFailure("no command stands before " + arguments[0], "kvexa help lists the commands");
  }
  for (std::string& argument : arguments) {
    if (argument == "/?") argument = "--help";
  }
  const Command* const found = find(arguments[0], commands);
  if (found != nullptr) {
    arguments.erase(arguments.begin());
    return {found, false, "", std::move(arguments)};
  }
  const bool wantsHelp = arguments.size() > 1 && isHelp(arguments[1]);
  if (wantsHelp && !secondWords(arguments[0], commands).empty()) return {nullptr, false, arguments[0], {}};
  return inGroup(std::move(arguments), commands);
}

std::string helpText(const std::string& group, std::span<const Command> commands) {
  std::string text = group.empty() ? "Drives camera-module test boards through KVEXA_LIB.dll.\n\n" : "";
  text += "Usage: kvexa " + (group.empty() ? "COMMAND" : group + " COMMAND") + " [OPTIONS]\n\n";
  for (const Command& command : commands) {
    const auto [first, second] = split(command.words);
    if (!group.empty() && first != group) continue;
    std::string words = command.words;
    if (words.size() < widestWords) words.append(widestWords - words.size(), ' ');
    text += "  " + words + " " + command.help + "\n";
  }
  text += "\nkvexa help COMMAND shows the options of one. kvexa --version shows the version.\n";
  return text;
}

}  // namespace cli
