#include "zam/results/external_rep_factory.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"

namespace ZaM::test {
namespace {

/// A factory that the test owns, and that tells it when it is released.
class ProbeFactory : public ExternalRepFactory {
 public:
  ProbeFactory(std::string given, std::string const& tagName) : name(std::move(given)), tag(SetRepTag(tagName)) {}

  void Release() override {
    ++released;
    if (onRelease) onRelease();
  }
  std::string const& GetName() const override { return isMute ? throw std::runtime_error("mute") : name; }
  RepTag GetRepTag() const override { return tag; }
  ExternalRepresentation* CreateRepresentation(wstring const& /*location*/) const override { return nullptr; }
  wstring GetDescription() const override { return {}; }

  int released = 0;
  bool isMute = false;
  std::function<void()> onRelease;

 private:
  std::string const name;
  RepTag const tag;
};

void fail() {
  throw std::runtime_error("refused");
}

/// A registry apart from that of the process, which no test fills.
class ExternalRepFactoryPlatformTest : public testing::Test {
 protected:
  void addAll() {
    for (ProbeFactory* factory : {&a, &b, &c}) platform.AddFactory(factory);
  }

  ProbeFactory a{"same", "AAAA"};
  ProbeFactory b{"same", "BBBB"};
  ProbeFactory c{"other", "CCCC"};
  ProbeFactory added{"added", "DDDD"};
  ExternalRepFactoryPlatform platform{ExternalRepFactoryPlatform::GetFactoryPlatform()};
};

TEST_F(ExternalRepFactoryPlatformTest, FindsAndRemovesFactoriesByPlaceNameAndTag) {
  EXPECT_FALSE(platform.GetFactory(0) || platform.GetFactory("same") || platform.GetFactory(SetRepTag("AAAA")));
  platform.RemoveFactory("same");
  addAll();
  EXPECT_EQ(platform.GetFactory(3), nullptr);
  EXPECT_EQ(platform.GetFactory("same"), &a);
  EXPECT_EQ(platform.GetFactory("Same"), nullptr);
  EXPECT_EQ(platform.GetFactory(SetRepTag("BBBB")), &b);
  platform.RemoveFactory(a.GetName());  // only the first of the two
  EXPECT_EQ(platform.GetFactory(0), &b);
  EXPECT_EQ(platform.GetFactory(1), &c);
  EXPECT_EQ(platform.GetFactory(2), nullptr);
  platform.RemoveFactory(SetRepTag("CCCC"));
  EXPECT_EQ(platform.GetFactoryCount(), 1U);
  EXPECT_TRUE(a.released == 1 && b.released == 0 && c.released == 1);
}

TEST_F(ExternalRepFactoryPlatformTest, ReleasesWhatComesUnderAKnownTagOrNothing) {
  EXPECT_EQ(FailEachAllocation([&] { platform.AddFactory(&a); }, [&] { EXPECT_FALSE(platform.GetFactory(0)); }), 1U);
  EXPECT_EQ(a.released, 0);
  ProbeFactory twin("twin", "AAAA");
  for (ProbeFactory* factory : {&twin, &a}) {
    EXPECT_EQ(platform.AddFactory(factory), 1U);
    EXPECT_EQ(factory->released, 1);
    EXPECT_EQ(platform.GetFactory(0), &a);
  }
  EXPECT_EQ(platform.AddFactory(nullptr), 1U);
  twin.onRelease = fail;
  EXPECT_THROW(platform.AddFactory(&twin), std::runtime_error);
}

TEST_F(ExternalRepFactoryPlatformTest, KeepsWhatCannotBeRemoved) {
  addAll();
  c.onRelease = fail;
  platform.RemoveFactory("other");
  a.isMute = true;
  platform.RemoveFactory("other");  // doesn't get as far
  EXPECT_EQ(c.released, 1);
  EXPECT_EQ(platform.GetFactory(2), &c);
}

TEST_F(ExternalRepFactoryPlatformTest, LetsAFactoryCallBackWhileItIsReleased) {
  addAll();
  b.onRelease = [&] {
    EXPECT_EQ(platform.GetFactory(1), &b);
    platform.RemoveFactory(SetRepTag("AAAA"));
    platform.AddFactory(&added);
  };
  platform.RemoveFactory(SetRepTag("BBBB"));
  EXPECT_EQ(platform.GetFactoryCount(), 2U);
  EXPECT_TRUE(platform.GetFactory(0) == &c && platform.GetFactory(1) == &added);
  EXPECT_TRUE(a.released == 1 && b.released == 1);
}

}  // namespace
}  // namespace ZaM::test
