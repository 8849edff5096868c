#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "commands/CommandRunner.h"
#include "fakes/FakeSystem.h"
#include "platform/linux/LinuxProcessRunner.h"

namespace halvex {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using test::exited;
using test::FakeProcessRunner;

TEST(ShellScriptText, ReadsTheCommandAndTheSuffixAndMendsInvalidUtf8) {
  const auto parsed = [](std::string_view script) {
    const auto p = parseShellScript(script);
    return p ? std::optional(std::pair(p->shellCommand, p->withAdministratorPrivileges)) : std::nullopt;
  };
  EXPECT_EQ(parsed("do shell script \"echo \\\"a b\\\" \\\\n\""), std::pair("echo \"a b\" \\n"s, false));
  EXPECT_EQ(parsed("do shell script \"/tmp/x\" with administrator privileges"), std::pair("/tmp/x"s, true));

  // A quote the caller forgot to escape ends the string early: no script.
  EXPECT_FALSE(parseShellScript("do shell script \"cat \"a b\"\""));
  EXPECT_FALSE(parseShellScript("do shell script \"never closed"));
  EXPECT_FALSE(parseShellScript("do shell script \"x\" with something else"));
  EXPECT_FALSE(parseShellScript("do shell script \"bad escape \\q\""));

  // Each byte of a sequence that is not UTF-8 (a stray, overlong, a surrogate, cut short) is mended.
  const std::string r = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> mended[] = {{"caf\xC3\xA9", "caf\xC3\xA9"},
                                                        {std::string("a\xFF") + "b", "a" + r + "b"},
                                                        {"\xC0\xAF", r + r},
                                                        {"\xED\xA0\x80", r + r + r},
                                                        {"\xF0\x9F\x98", r + r + r}};
  for (const auto& [text, valid] : mended) EXPECT_EQ(toValidUtf8(text), valid) << text;
}

TEST(ScriptRunnerContract, FormsRunTheirProgramsAndEveryFailureIsExactlyError) {
  FakeProcessRunner processes;
  processes.answerWith(exited(0, "out\n"));
  CommandRunner runner(processes);

  EXPECT_EQ(runner.quietScript("/usr/bin/grep x \\\"a b\\\""), "out");
  EXPECT_EQ(runner.doScriptWithAdmin("/tmp/halvexuninstaller"), "out");
  runner.asExec("true");

  const auto requests = processes.requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].launchPath, "/bin/sh");
  EXPECT_EQ(requests[0].arguments, (std::vector<std::string>{"-c", "/usr/bin/grep x \"a b\""}));
  EXPECT_FALSE(requests[0].joinStandardError);
  EXPECT_TRUE(requests[0].timeout.has_value());
  EXPECT_EQ(requests[1].launchPath, "/usr/bin/pkexec");
  EXPECT_EQ(requests[1].arguments, (std::vector<std::string>{"/bin/sh", "-c", "/tmp/halvexuninstaller"}));
  EXPECT_FALSE(requests[1].timeout.has_value()) << "the password prompt waits for the user";
  EXPECT_EQ(requests[2].arguments.back(), "true");

  processes.answerWith(exited(1, "partial output"));
  EXPECT_EQ(runner.quietScript("grep nothing"), "ERROR");
  processes.answerWith(exited(126));  // the prompt was dismissed
  EXPECT_EQ(runner.doAScript("/bin/mv a b"), "ERROR");
  processes.answerWith(ProcessResult{});  // could not start
  EXPECT_EQ(runner.quietScript("x"), "ERROR");
  ProcessResult late = exited(0, "half");
  late.timedOut = true;
  processes.answerWith(late);
  EXPECT_EQ(runner.quietScript("sleep 100"), "ERROR");
  // A script that cannot be made never starts a program.
  const auto before = processes.requests().size();
  EXPECT_EQ(runner.quietScript("cat \"unescaped\""), "ERROR");
  EXPECT_EQ(processes.requests().size(), before);

  processes.answerWith(exited(0, "\n"));
  EXPECT_EQ(runner.quietScript("echo"), "") << "empty output is no failure";
  processes.answerWith(exited(0, "a\n\n"));
  EXPECT_EQ(runner.quietScript("x"), "a\n") << "only the last line feed goes";
}

class RealRunner : public ::testing::Test {
 protected:
  LinuxProcessRunner processes_;
};

TEST_F(RealRunner, DirectRunnerJoinsErrorTextAndScriptRunnerKeepsTheGrepConvention) {
  CommandRunner runner(processes_);
  // The direct runner ignores the exit status.
  EXPECT_EQ(runner.eseguiShellCommand("/bin/sh", {"-c", "echo only-error >&2; exit 3"}), "only-error\n");
  EXPECT_EQ(runner.eseguiShellCommand("/bin/sh", {"-c", "echo out; echo err >&2"}), "out\nerr\n");
  EXPECT_EQ(runner.eseguiShellCommand("/no/such/program", {}), "");

  // What the exit status and the output make of an answer is ScriptRunnerContract's; here, that
  // the real runner reports them.
  EXPECT_EQ(runner.quietScript("echo hello | /bin/grep nothing"), "ERROR");
  EXPECT_EQ(runner.quietScript("echo hello | /bin/grep hell"), "hello");
  EXPECT_EQ(runner.quietScript("echo only-error >&2"), "") << "standard error is not part of the answer";
  EXPECT_EQ(runner.quietScript("printf %s \\\"a  b\\\""), "a  b") << "the escaped quotes reach the shell";

  // A missing elevation prompt is a program that never started.
  CommandRunnerLimits limits;
  limits.elevator = "/no/such/pkexec";
  CommandRunner missing(processes_, limits);
  EXPECT_EQ(missing.doScriptWithAdmin("echo x"), "ERROR");
}

TEST_F(RealRunner, LargeOutputIsDrainedWhileTheProgramRuns) {
  CommandRunner runner(processes_);
  const std::string cmd = "head -c 3000000 /dev/zero | tr '\\0' a; echo tail >&2";
  const std::string direct = runner.eseguiShellCommand("/bin/sh", {"-c", cmd});
  EXPECT_EQ(direct, std::string(3000000, 'a') + "tail\n");
  const std::string script = runner.quietScript("head -c 2000000 /dev/zero | tr '\\\\0' b");
  EXPECT_EQ(script, std::string(2000000, 'b'));
}

TEST_F(RealRunner, AwkwardPathsStayInOnePiece) {
  const auto dir = std::filesystem::temp_directory_path() / ("halvex-runner-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const auto path = (dir / "a b 'single' \"double\" \xFF\xFE.txt").string();
  std::ofstream(path) << "content\n";
  CommandRunner runner(processes_);
  // Arguments travel whole in the direct runner.
  EXPECT_EQ(runner.eseguiShellCommand("/bin/cat", {path}), "content\n");
  // In a shell line the caller's quoting holds blanks and single quotes together.
  const std::string blanks = (dir / "with blanks \xFF.txt").string();
  std::ofstream(blanks) << "inside\n";
  EXPECT_EQ(runner.eseguiShellCommand("/bin/sh", {"-c", "/bin/cat \"" + blanks + "\""}), "inside\n");
  EXPECT_EQ(runner.quietScript("/bin/cat \\\"" + blanks + "\\\""), "inside");
  // A double quote written straight into the command breaks the script: the sentinel.
  EXPECT_EQ(runner.quietScript("/bin/cat \"" + path + "\""), "ERROR");
  // Non-UTF-8 output comes back as valid text.
  EXPECT_EQ(runner.eseguiShellCommand("/bin/printf", {"x\\377y"}), "x\xEF\xBF\xBDy");
  std::filesystem::remove_all(dir);
}

TEST_F(RealRunner, HangingCommandsEndAtTheLimit) {
  CommandRunnerLimits limits;
  limits.scriptTimeout = 300ms;
  limits.directTimeout = 300ms;
  CommandRunner runner(processes_, limits);
  EXPECT_EQ(runner.quietScript("echo started; sleep 30"), "ERROR");
  // The direct runner has no failure value: what was printed before the limit.
  EXPECT_EQ(runner.eseguiShellCommand("/bin/sh", {"-c", "echo started; exec sleep 30"}), "started\n");
  // A child left running in the background with the pipe open does not hold the answer forever.
  LinuxProcessRunner brief(50ms);
  CommandRunner lingering(brief);
  EXPECT_EQ(lingering.eseguiShellCommand("/bin/sh", {"-c", "echo parent; sleep 3 &"}), "parent\n");
}

}  // namespace
}  // namespace halvex
