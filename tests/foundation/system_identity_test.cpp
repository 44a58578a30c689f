#include "zam/foundation/system_identity.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>

#include "tests/support/failing_allocation.h"

namespace ZaM {
namespace {

/// In the characters of ASCII.
wstring Wide(std::string const& text) {
  return {text.begin(), text.end()};
}

TEST(SystemIdentity, IsWhatTheSystemSays) {
  wstring text = u"what was there";
  GetPID(text);
  EXPECT_TRUE(text == Wide(std::to_string(getpid())));

  utsname machine = {};
  ASSERT_EQ(uname(&machine), 0);
  ASSERT_TRUE(GetHostname(text));
  EXPECT_TRUE(text == Wide(machine.nodename));

  std::ifstream list("/proc/cpuinfo");
  auto processors = 0;
  for (std::string line; std::getline(list, line);) processors += line.starts_with("processor");
  if (processors == 0) GTEST_SKIP() << "this machine lists its processors in another form";
  EXPECT_EQ(ZamGetCPUCount(), processors);
}

TEST(SystemIdentity, HasHostNamesOfAnyForm) {
  std::string const longest(64, 'n');
  bool permitted = true;
  // The name is changed for one thread only.
  std::thread([&] {
    wstring name = u"what was there";
    auto const become = [](std::string const& text) { return sethostname(text.data(), text.size()) == 0; };
    permitted = unshare(CLONE_NEWUTS) == 0 && become(longest);
    if (!permitted) return;
    {
      test::FailingAllocation const failing(0);
      EXPECT_FALSE(GetHostname(name));
    }
    EXPECT_TRUE(name == u"what was there");
    EXPECT_TRUE(GetHostname(name) && name == wstring(64, u'n'));
    EXPECT_TRUE(become("B\xC3\xA4r\xFF") && GetHostname(name) && name == u"B\u00E4r\uFFFD");
    EXPECT_TRUE(become("") && GetHostname(name) && name.empty());
  }).join();
  if (!permitted) GTEST_SKIP() << "this user can't change the name";
}

}  // namespace
}  // namespace ZaM
