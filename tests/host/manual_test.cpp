// `kxhost man` and `kxhost completion`: every option of every command's help is in them, and tools read them.
#include <algorithm>
#include <cstdlib>
#include <regex>
#include <set>
#include <sstream>

#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

using Words = std::vector<std::string>;

std::string joined(const Words& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : separator) + word;
  }
  return text;
}

class ManualTest : public KxhostTest {
protected:
  std::string said(Words arguments) const {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0) << joined(arguments, " ") << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  /// Options as a command's help shows them, all of their names.
  std::set<std::string> optionsInHelp(Words command) const {
    command.emplace_back("--help");
    const std::string help = said(command);
    std::set<std::string> options;
    std::istringstream lines(help.substr(0, help.find("\nExamples:")));
    const std::regex option("^ {2,4}(-[-a-zA-Z0-9,]+)");
    for (std::string line; std::getline(lines, line);) {
      std::smatch names;
      if (std::regex_search(line, names, option)) {
        std::istringstream parts(names[1]);
        for (std::string name; std::getline(parts, name, ',');) {
          options.insert(name);
        }
      }
    }
    return options;
  }

  /// Whether a program is installed.
  static bool has(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
  }

  /// What Bash offers behind these words, the last of which is being typed.
  std::set<std::string> offered(const Words& words) const {
    const std::string script =
        writeText("try.bash", "source " + path("kxhost.bash") + "\nCOMP_WORDS=('" + joined(words, "' '") +
                                  "')\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\ncompopt() { :; }\n_kxhost\n"
                                  "printf '%s\\n' \"${COMPREPLY[@]}\" >" +
                                  path("offered") + "\n");
    EXPECT_EQ(std::system(("bash -u " + script).c_str()), 0);
    std::set<std::string> result;
    std::istringstream lines(read(path("offered")));
    for (std::string line; std::getline(lines, line);) {
      result.insert(line);
    }
    return result;
  }
};

const std::vector<Words> commands{
    {},        {"stats"},   {"view"},     {"spectrum"},          {"resample"}, {"filter"},    {"noise"}, {"combustion"},
    {"power"}, {"flicker"}, {"generate"}, {"generate", "power"}, {"man"},      {"completion"}};

TEST_F(ManualTest, EveryOptionOfTheHelpIsInThePageAndInTheCompletions) {
  const std::string bash = writeText("kxhost.bash", said({"completion", "bash"}));
  const std::string zsh = said({"completion", "zsh"}), fish = said({"completion", "fish"});
  for (const Words& command : commands) {
    SCOPED_TRACE(joined(command, " "));
    Words asked(command);
    asked.insert(asked.begin(), "man");
    const std::string page = said(asked);
    const std::set<std::string> options = optionsInHelp(command);
    EXPECT_TRUE(options.contains("--help") && options.contains("-h"));
    Words typed(command);
    typed.insert(typed.begin(), "kxhost");
    typed.emplace_back("-");
    EXPECT_EQ(offered(typed), options);

    const size_t begin = zsh.find("\n_kxhost" + (command.empty() ? "" : "_" + joined(command, "_")) + "() {");
    ASSERT_NE(begin, std::string::npos);
    const std::string function = zsh.substr(begin, zsh.find("\n}\n", begin) - begin);
    const std::string where =
        command.empty() ? "'__fish_use_subcommand'" : "'__fish_seen_subcommand_from " + command.back() + "'";
    for (const std::string& option : options) {
      EXPECT_NE(page.find("\\fB" + std::regex_replace(option, std::regex("-"), "\\-") + "\\fR"), std::string::npos)
          << option;
      EXPECT_NE(function.find("'*" + option + "["), std::string::npos) << option;
      const std::string name = option.starts_with("--") ? " -l " + option.substr(2) : " -s " + option.substr(1);
      EXPECT_TRUE(std::regex_search(fish, std::regex("\ncomplete -c kxhost -n " + where + "[^\n]*" + name + " ")))
          << option;
    }
  }
}

TEST_F(ManualTest, APageHasItsParts) {
  const std::string page = said({"man", "generate", "power"});
  EXPECT_TRUE(
      page.starts_with(".TH KXHOST\\-GENERATE\\-POWER 1 \"\" \"kxhost 2.17\" \"kxhost manual\"\n.SH NAME\n"
                       "kxhost\\-generate\\-power \\- Three\\-phase voltages"))
      << page;
  EXPECT_NE(page.find("\n.SH SEE ALSO\n\\fBkxhost\\fR(1)\n"), std::string::npos);
  const std::string view = said({"man", "view"});
  EXPECT_NE(view.find("\\fBkxhost view\\fR\n[options] \\fIFILE\\fR\n"), std::string::npos) << view;
  EXPECT_NE(view.find("One of: lin, log, db.\n"), std::string::npos);
  EXPECT_NE(view.find("Default: 1200.\n"), std::string::npos);
  EXPECT_NE(view.find(".SH EXAMPLES\n.nf\nkxhost view take1.wav \\-o curve.png\n"), std::string::npos) << view;
  EXPECT_NE(said({"man"}).find(".TP\n\\fBview\\fR\nPicture of "), std::string::npos);
  expectMisuse({"man", "juggle"}, "there is no such command: juggle");
  expectMisuse({"man", "generate", "power", "more"}, "there is no such command: more");
  expectMisuse({"completion", "tcsh"}, "tcsh");
  expectMisuse({"completion"}, "SHELL");
}

TEST_F(ManualTest, AllPagesAreWrittenIntoAFolder) {
  std::filesystem::create_directory(path("man1"));
  EXPECT_EQ(said({"man", "--directory", path("man1")}), "");
  for (Words command : commands) {
    command.insert(command.begin(), "kxhost");
    const std::string page = read(path("man1/" + joined(command, "-") + ".1"));
    command.front() = "man";
    EXPECT_EQ(page, said(command));
  }
  expectMisuse({"man", "--directory", path("none")}, "none");
}

TEST_F(ManualTest, RoffHasNothingToSayAboutThePages) {
  if (!has("groff")) {
    GTEST_SKIP() << "groff is not installed";
  }
  for (Words command : commands) {
    command.insert(command.begin(), "man");
    const std::string page = writeText("page.1", said(command));
    const std::string roff = "groff -ww -man -K utf8 -T utf8 " + page + " >" + path("shown") + " 2>" + path("warnings");
    EXPECT_EQ(std::system(roff.c_str()), 0);
    EXPECT_EQ(read(path("warnings")), "") << joined(command, " ");
    EXPECT_GT(read(path("shown")).size(), 500U);
  }
}

TEST_F(ManualTest, BashOffersCommandsOptionsAndChoices) {
  const std::string bash = writeText("kxhost.bash", said({"completion", "bash"}));
  EXPECT_EQ(offered({"kxhost", "sp"}), std::set<std::string>{"spectrum"});
  EXPECT_EQ(offered({"kxhost", "generate", "p"}), std::set<std::string>{"power"});
  EXPECT_EQ(offered({"kxhost", "view", "a.wav", "--x-axis", ""}), (std::set<std::string>{"lin", "log"}));
  EXPECT_EQ(offered({"kxhost", "view", "--y-axis", "=", "d"}), std::set<std::string>{"db"});
  EXPECT_EQ(offered({"kxhost", "view", "--y-axis", "="}), (std::set<std::string>{"db", "lin", "log"}));
  EXPECT_EQ(offered({"kxhost", "spectrum", "--window", "fl"}), std::set<std::string>{"flat-top"});
  EXPECT_EQ(offered({"kxhost", "stats", "--raw", "int"}), (std::set<std::string>{"int16", "int32"}));
  EXPECT_EQ(offered({"kxhost", "completion", "b"}), std::set<std::string>{"bash"});
  EXPECT_EQ(offered({"kxhost", "view", "--from", ""}), std::set<std::string>{""});
  EXPECT_EQ(offered({"kxhost", "power", "--harm"}), std::set<std::string>{"--harmonics"});
  EXPECT_EQ(offered({"kxhost", "view", ""}), std::set<std::string>{""});  // files, which Bash offers by itself
  EXPECT_EQ(offered({"kxhost", "generate", ""}), std::set<std::string>{"power"});
}

TEST_F(ManualTest, OtherShellsReadTheirScripts) {
  bool isTried = false;
  for (const std::string shell : {"zsh", "fish", "bash"}) {
    if (has(shell)) {
      const std::string script = writeText("script", said({"completion", shell}));
      EXPECT_EQ(std::system((shell + " -n " + script).c_str()), 0) << shell;
      isTried = true;
    }
  }
  EXPECT_TRUE(isTried);
}

}  // namespace
}  // namespace kxhost_test
