#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "log/LogWorld.h"
#include "ui/console/ConsoleSession.h"

namespace halvex {
namespace {

using Lines = std::vector<std::string>;

// The console session over an agent in memory, its output captured.
class ConsoleLog : public ::testing::Test {
 protected:
  ~ConsoleLog() override {
    std::fclose(out_);
    std::free(buffer_);
  }
  Lines run(std::string_view line) {
    session_.execute(line);
    std::fflush(out_);
    std::istringstream in(std::string(buffer_, size_).substr(std::exchange(consumed_, size_)));
    Lines lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }

  test::LogWorld w;
  char* buffer_ = nullptr;
  std::size_t size_ = 0, consumed_ = 0;
  std::FILE* out_ = open_memstream(&buffer_, &size_);
  ConsoleInput input_{w.loop};
  ConsoleDialogs dialogs_{w.loop, w.logger, input_, out_};
  ConsoleAlertPresenter alerts_{w.logger, out_};
  ConsoleSession session_{w.agent, dialogs_, alerts_, out_};
};

TEST_F(ConsoleLog, TheLogIsSwitchedListedAndClearedByName) {
  EXPECT_EQ(run("logging on"), Lines{"[logging] on"});
  EXPECT_EQ(run("logging on"), Lines{"[logging] on"}) << "already on: nothing posted again";
  EXPECT_EQ(w.center.postedNames(), Lines{"loadKext"});
  EXPECT_NE(run("status").at(0).find(", logging on,"), std::string::npos);

  w.feed("0 10.0.0.1 443 100 x y");
  w.feed("0 10.0.0.2 53 200 x y /usr/bin/wget");
  // The icons come later, from the log's look-ups.
  ASSERT_TRUE(w.until([&] {
    const auto& rows = w.log.view.rows;
    return rows.size() == 2 && !rows[0].columnImage.name.empty() && !rows[1].columnImage.name.empty();
  }));
  EXPECT_EQ(
      run("log"),
      (Lines{"[log] 2 rows", "[log] PASS text-x-generic | curl | 10.0.0.1 | 443 | 501 | 100 | 2016-11-15 08:53:20",
             "[log] BLOCK text-x-generic | wget | 10.0.0.2 | 53 | 1000 | 200 | 2016-11-15 08:53:20"}));
  EXPECT_EQ(run("log clear"), Lines{"[log] cleared"});
  EXPECT_EQ(run("log"), Lines{"[log] 0 rows"});
  EXPECT_EQ(run("logging off"), Lines{"[logging] off"});
  EXPECT_EQ(w.center.postedNames(), (Lines{"loadKext", "unloadKext"}));
}

}  // namespace
}  // namespace halvex
