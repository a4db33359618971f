#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "tests/Tools/CommandRunner.h"

namespace ks::test {
namespace {

const std::string kCommand = KS_COMMAND;

/// The long options and the subcommands that the help names.
std::vector<std::string> wordsInHelp() {
  std::vector<std::string> words;
  for (const char* const topic : {"", "simulate", "portal", "check", "run", "scan", "doctor",
                                  "inspect", "completion", "help"}) {
    std::istringstream help(runCommand(kCommand + " help " + topic).output);
    for (std::string line; std::getline(help, line);) {
      const auto dashes = line.find("--");
      if (line.starts_with("  -") && dashes != std::string::npos) {
        words.push_back(line.substr(dashes + 2, line.find(' ', dashes) - dashes - 2));
      }
    }
    if (*topic != '\0') words.emplace_back(topic);
  }
  return words;
}

bool exists(const std::string& program) { return run({"sh", "-c", "command -v " + program}); }

TEST(ManualTest, NamesEverythingThatHelpNames) {
  const auto words = wordsInHelp();
  EXPECT_GT(words.size(), 40u);
  std::string page = runCommand(kCommand + " help --man").output;
  for (auto at = page.find("\\-"); at != std::string::npos; at = page.find("\\-")) {
    page.erase(at, 1);
  }
  EXPECT_THAT(runCommand(kCommand + " help").output, testing::StartsWith("Examples:\n"));
  const std::string completions[] = {runCommand(kCommand + " completion bash").output,
                                     runCommand(kCommand + " completion zsh").output,
                                     runCommand(kCommand + " completion fish").output};
  for (const std::string& word : words) {
    EXPECT_NE(page.find(word), std::string::npos) << word;
    for (const std::string& completion : completions) {
      EXPECT_NE(completion.find(word), std::string::npos) << word;
    }
  }
}

TEST(ManualTest, IsRightInEveryLanguage) {
  const struct {
    const char* program;
    const char* check;
  } cases[] = {{"groff", "help --man | groff -man -ww -Tutf8 >/dev/null"},
               {"bash", "completion bash | bash -n"},
               {"zsh", "completion zsh > $T && zsh -n $T"},
               {"fish", "completion fish > $T && fish --no-execute $T"}};
  const TemporaryFolder folder;
  for (const auto& each : cases) {
    if (!exists(each.program)) {
      std::printf("%s is not installed: not tried\n", each.program);
      continue;
    }
    const auto result = runCommand("env K=" + kCommand + " T=" + (folder.path() / "file").string() +
                                   " sh -c '$K " + each.check + "'");
    EXPECT_EQ(result.code, 0) << each.program;
    EXPECT_EQ(result.errors, "") << each.program;
  }
}

TEST(ManualTest, BashOffersWhatFits) {
  const TemporaryFolder folder;
  writeText(folder.path() / "two words.json", "");
  writeText(folder.path() / "try", R"(
source <("$1" completion bash)
shift
COMP_WORDS=("$@") COMP_CWORD=$(($#-1))
_ksbeacon 2>/dev/null
printf '%s|' "${COMPREPLY[@]}")");
  const struct {
    const char* line;
    const char* offered;
  } cases[] = {{"ksbeacon s", "simulate|status|scan|"},
               {"ksbeacon help do", "doctor|"},
               {"ksbeacon completion ''", "bash|zsh|fish|"},
               {"ksbeacon run --pass", "--password-file|"},
               {"ksbeacon run --portal t", "|"},
               {"ksbeacon run --password-file t", "try|two words.json|"},
               {"ksbeacon simulate tw", "two words.json|"},
               {"ksbeacon doctor t", "|"}};
  for (const auto& each : cases) {
    const auto result = runCommand("sh -c \"cd " + folder.path().string() + " && bash try " +
                                   kCommand + " " + each.line + "\"");
    EXPECT_EQ(result.output, each.offered) << each.line << result.errors;
  }
}

}  // namespace
}  // namespace ks::test
