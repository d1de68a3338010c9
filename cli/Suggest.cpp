#include "Suggest.h"

#include <algorithm>
#include <iostream>
#include <memory>

namespace tavric::cli {
namespace {

// Levenshtein distance: insertions, deletions and substitutions.
std::size_t EditDistance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

std::vector<std::string> SubcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(sub->get_name());
  return names;
}

// The options of `app` as typed: "--json", "-o".
std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}

// The first word of the command line that is not an option: the subcommand.
const char* CommandWord(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i)
    if (argv[i][0] != '-') return argv[i];
  return nullptr;
}

bool LooksLikeAnOption(const std::string& word) {
  return word.size() > 1 && word[0] == '-' && word[1] != '.' && !(word[1] >= '0' && word[1] <= '9');
}

}  // namespace

std::string Closest(const std::string& word, const std::vector<std::string>& candidates) {
  std::string best;
  std::size_t best_distance = 0;
  for (const std::string& candidate : candidates) {
    const std::size_t d = EditDistance(word, candidate);
    if (best.empty() || d < best_distance) {
      best = candidate;
      best_distance = d;
    }
  }
  const std::size_t letters = std::max(word.size(), best.size());
  if (best.empty() || best_distance == 0 || best_distance >= letters ||
      3 * best_distance > letters + 2)
    return {};
  return best;
}

Command AddHelp(CLI::App& app) {
  auto topic = std::make_shared<std::string>();
  CLI::App* sub = app.add_subcommand("help", "Print the help of the tool, or of one COMMAND");
  sub->add_option("COMMAND", *topic, "The subcommand to describe");
  const CLI::App* parent = &app;
  return {sub, [parent, topic] {
            // (the tool's own help, not that of the subcommand that was run)
            if (topic->empty()) {
              std::cout << parent->get_formatter()->make_help(parent, parent->get_name(),
                                                              CLI::AppFormatMode::Normal);
              return kExitOk;
            }
            for (const CLI::App* s : parent->get_subcommands([](const CLI::App*) { return true; }))
              if (s->get_name() == *topic) {
                std::cout << s->help(parent->get_name());
                return kExitOk;
              }
            const char* args[] = {"tavric", topic->c_str()};
            CommandNameKnown(*parent, 2, args);
            return kExitUsage;
          }};
}

bool CommandNameKnown(const CLI::App& app, int argc, const char* const* argv) {
  const char* word = CommandWord(argc, argv);
  if (word == nullptr) return true;
  const std::vector<std::string> names = SubcommandNames(app);
  if (std::find(names.begin(), names.end(), word) != names.end()) return true;
  std::cerr << "tavric: '" << word << "' is not a command";
  const std::string close = Closest(word, names);
  if (!close.empty()) std::cerr << "; did you mean `" << close << "`?";
  std::cerr << "\nRun `tavric help` for the list of commands.\n";
  return false;
}

void SuggestOptions(const CLI::App& app, int argc, const char* const* argv) {
  const char* word = CommandWord(argc, argv);
  std::vector<std::string> names = OptionNames(app);
  if (word != nullptr) {
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; }))
      if (sub->get_name() == word) {
        const std::vector<std::string> own = OptionNames(*sub);
        names.insert(names.end(), own.begin(), own.end());
      }
  }
  for (int i = 1; i < argc; ++i) {
    std::string option = argv[i];
    if (!LooksLikeAnOption(option)) continue;
    option = option.substr(0, option.find('='));
    if (std::find(names.begin(), names.end(), option) != names.end()) continue;
    const std::string close = Closest(option, names);
    if (!close.empty())
      std::cerr << "tavric: " << option << " is not an option of this command; did you mean `"
                << close << "`?\n";
  }
}

}  // namespace tavric::cli
