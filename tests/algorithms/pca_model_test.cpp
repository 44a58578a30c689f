// The stored form of a model: byte by byte, and from hostile hands.
#include <cmath>
#include <limits>

#include "tests/algorithms/pca_fixture.h"
#include "tests/support/failing_allocation.h"

namespace ZaM::test {
namespace {

using namespace std::string_literals;

constexpr double infinite = std::numeric_limits<double>::infinity();

/// Five places, four examples. Every number is another one, and some are rare.
StoredModel SmallModel(std::int32_t hasGram) {
  StoredModel model{1, 3, 5, 4, hasGram, 0.1, 0.2, {}, {}, {}, {}};
  SetSizes(model);
  double next = 1.0;
  for (Matrix* const rows : {&model.eigenVectors, &model.gram}) {
    for (Vector& row : *rows) {
      for (double& number : row) number = next++;
    }
  }
  model.eigenValues = {-3.0, infinite};
  model.gramRowSums[4] = std::bit_cast<double>(0x7FF8DEADBEEF0001);
  model.eigenVectors[1][3] = -0.0;
  model.eigenVectors[1][4] = std::numeric_limits<double>::denorm_min();
  return model;
}

class PcaModelTest : public PcaFixture {
 protected:
  /// Loads, and sees to it that this takes no more memory than a few times the bytes.
  bool LoadWithinBounds(std::string const& bytes) {
    std::istringstream stream(bytes);
    std::size_t const before = AllocatedBytes();
    bool const loaded = analyzer.Load(&stream);
    EXPECT_LE(AllocatedBytes() - before, 8 * bytes.size());
    return loaded;
  }
};

TEST_F(PcaModelTest, WritesEveryFieldInItsPlace) {
  control.SetDimension(1);
  control.SetMaxIterations(258);
  control.SetEpsilon(std::ldexp(1.0, -40));
  Learn({{1}, {2}, {3}, {4}, {0}});
  std::string const bytes = Saved();
  ASSERT_EQ(bytes.size(), 36U + 8000 + 16 + 16000 + 4 * 5 * 6);
  // 1, 258, 1000, 5, 1; 100, 2^-40; 10, 20, 30, 40
  EXPECT_EQ(bytes.substr(0, 68),
            "\1\0\0\0\2\1\0\0\xE8\3\0\0\5\0\0\0\1\0\0\0\0\0\0\0\0\0\x59\x40\0\0\0\0\0\0\x70\x3D"
            "\0\0\0\0\0\0\x24\x40\0\0\0\0\0\0\x34\x40\0\0\0\0\0\0\x3E\x40\0\0\0\0\0\0\x44\x40"s);
  StoredModel const model = ToModel(bytes);
  EXPECT_NEAR(model.eigenValues[0], 2.0, 1e-6);
  EXPECT_NEAR(Product(model.eigenVectors[0], model.eigenVectors[0]), std::sqrt(5.0) / 2.0, 1e-6);
  EXPECT_EQ(model.gram, (Matrix{{1}, {2, 4}, {3, 6, 9}, {4, 8, 12, 16}, {0, 0, 0, 0, 0}}));
}

TEST_F(PcaModelTest, ReadsWhatItWroteBitByBit) {
  SetPoints(fourPoints);
  for (std::int32_t const hasGram : {0, 1, 2, -1, 256}) {
    StoredModel model = SmallModel(hasGram);
    std::string const bytes = ToBytes(model);
    model.hasGram = hasGram == 1 ? 1 : 0;
    analyzer = PcaAnalyzer();
    std::istringstream stream(bytes + "tail");
    ASSERT_TRUE(analyzer.Load(&stream));
    EXPECT_EQ(stream.tellg(), static_cast<std::streamoff>(bytes.size()));
    Run({1, 1, 1, 1});
    EXPECT_TRUE(Saved() == ToBytes(model));
    analyzer = PcaAnalyzer();
    EXPECT_TRUE(Load(bytes));
    EXPECT_EQ(Project({1, 2}), Vector{0});  // no examples: nothing to sum
    model.exampleCount = 0;
    model.gram.clear();
    EXPECT_TRUE(Saved() == ToBytes(model));
  }
}

TEST_F(PcaModelTest, AnswersFalseToEveryPartOfAFile) {
  SetPoints(fourPoints);
  std::string const bytes = ToBytes(SmallModel(1));
  ASSERT_TRUE(Load(bytes));
  Run({1, 1, 1, 1});
  Vector const projected = Project({1, 2});
  PcaAnalyzer const former = analyzer;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    analyzer = former;
    ASSERT_FALSE(LoadWithinBounds(bytes.substr(0, size))) << size;
    ASSERT_EQ(Project({1, 2}), size < headerSize ? projected : none) << size;
    ASSERT_TRUE(Saved() == (size < headerSize ? bytes : ""));

    std::istringstream throwing(bytes.substr(0, size));
    throwing.exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
    EXPECT_NO_THROW(EXPECT_FALSE(analyzer.Load(&throwing)));
  }
}

// A part of another model's header changes the fields that are whole. The former model goes with those that are its
// own.
TEST_F(PcaModelTest, KeepsAModelBesideAPartOfAHeaderOrNone) {
  SetPoints(fourPoints);
  StoredModel model = SmallModel(1);
  model.eigenValues[1] = 1.0;
  std::string const bytes = ToBytes(model);
  ASSERT_TRUE(Load(bytes));
  Run({1, 1, 1, 1});
  Vector const projected = Project({1, 2});
  PcaAnalyzer const former = analyzer;
  struct {
    std::size_t begin, end;  // of a field
    bool ofTheModel;
  } const fields[] = {{0, 4, true},    {4, 8, false},  {8, 12, true},  {12, 16, true},
                      {16, 20, false}, {20, 28, true}, {28, 36, false}};
  for (auto const& [begin, end, ofTheModel] : fields) {
    std::string other = bytes;
    other[begin] = static_cast<char>(other[begin] ^ 1);
    for (std::size_t size = 0; size < headerSize; ++size) {
      analyzer = former;
      ASSERT_FALSE(Load(other.substr(0, size)));
      bool const gone = ofTheModel && size >= end;
      EXPECT_EQ(Project({1, 2}), gone ? none : projected) << "field that ends at " << end << " of " << size;
      EXPECT_EQ(Saved().empty(), gone);
    }
  }
}

TEST_F(PcaModelTest, TakesWhatEndsAndNoMemoryForWhatIsOnlyPromised) {
  std::string const bytes = ToBytes(SmallModel(1));
  struct {
    std::size_t place;  // of a field's number in the header
    std::uint32_t accepted, refused;
  } const cases[] = {{0, 1, 2},          {0, 1, 0xFFFFFFFF},  {4, 0x100000, 0x100001},  // passes that end in time
                     {4, 0, 0xFFFFFFFF}, {8, 5, 6},           {8, 5, 0xFFFFFFFF},      {8, 4, 0},
                     {12, 4, 6},         {12, 0, 0x7FFFFFFF}, {32, 0, 0x80000000},     {32, 0x7FE00000, 0x7FF80000}};
  for (auto const& [place, accepted, refused] : cases) {
    for (std::uint32_t const number : {accepted, refused}) {
      std::string changed = bytes;
      changed.replace(place, 4, reinterpret_cast<char const*>(&number), 4);
      EXPECT_EQ(LoadWithinBounds(changed), number == accepted) << number << " at " << place;
    }
  }
}

TEST_F(PcaModelTest, ReportsStreamsAndMemoryThatFail) {
  SetPoints(fourPoints);
  std::string const bytes = ToBytes(SmallModel(1));
  EXPECT_FALSE(analyzer.Load(nullptr));
  EXPECT_EQ(Saved(), "");  // nothing was learned
  ASSERT_TRUE(Load(bytes));
  Run({1, 1, 1, 1});
  std::stringstream stream(ToBytes(SmallModel(0)));
  stream.setstate(std::ios::failbit);
  EXPECT_FALSE(analyzer.Load(&stream) || analyzer.Save(&stream) || analyzer.Load(nullptr) || analyzer.Save(nullptr));
  EXPECT_TRUE(Saved() == bytes);

  struct : std::streambuf {
  } full;
  for (bool const throws : {false, true}) {
    std::ostream writing(&full);
    if (throws) writing.exceptions(std::ios::badbit);
    EXPECT_NO_THROW(EXPECT_FALSE(analyzer.Save(&writing)));
  }

  auto const save = [&] {
    std::ostringstream writing;
    writing.exceptions(std::ios::badbit);
    if (!analyzer.Save(&writing)) throw BaseException(2001);
  };
  EXPECT_GT(FailEachAllocation(save, [] {}, {.ids = {2001}}), 0U);

  std::istringstream reading(bytes);
  auto const load = [&] {
    reading.clear();
    reading.seekg(0);
    analyzer.Load(&reading);
  };
  EXPECT_GT(FailEachAllocation(load, [&] { EXPECT_EQ(Saved(), ""); }), 5U);
  EXPECT_TRUE(Saved() == bytes);
}

}  // namespace
}  // namespace ZaM::test
