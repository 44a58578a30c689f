// What docs/guide.md shows, with the pieces beside this; scripts/check-docs compares the two.
#include <gtest/gtest.h>
#include <zam/zam.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "examples/guide/linear_classes.h"
#include "examples/guide/scale.h"
#include "examples/guide/text_file.h"
#include "examples/guide/words.h"
#include "tests/support/temporary_folder.h"

namespace guide {
namespace {

using namespace std::string_literals;

TEST(GuideTest, ClassifiesAndEvaluates) {
  ZaM::Ref const classes = MakeClasses();
  ZaM::Ref const documents = MakeDocuments({{0.9, 0.1}, {0.2, 0.8}, {0.5, 0.4}});
  ZaM::BayesControl control = MakeControl(classes.Get(), documents.Get());
  ZaM::BayesClassifier classifier;
  classifier.DoAlgorithm(&control);

  ZaM::Ref matrix(ZaM::ErrorMatrix::Create(3));  // class ids 0 to 2; 0 stands for none
  ZaM::ErrorMatrixVisitor evaluation(matrix.Get(), 0.0, 0.1);
  evaluation.SetResultTag(resultTag);
  documents->Visit(&evaluation);
  EXPECT_EQ(matrix->GetCorrect(), 2u);
  EXPECT_EQ(matrix->GetRejected(), 1u);  // its two classes lie closer together than 0.1

  ZaM::ErrorPlotVisitor plots;
  plots.SetResultTag(resultTag);
  classes->Visit(&plots);    // class nodes hold no result: each gets the plot of its class
  documents->Visit(&plots);  // and each document counts into the plot of its class

  ZaM::Ref overall(ZaM::ErrorPlot::Create(0));
  auto* const nodes = ZaM::PreOrderTraverser<ZaM::DocumentNode>::Create(classes.Get());
  while (ZaM::DocumentNode* const node = nodes->Next()) {
    if (auto const* plot = node->GetRepresentation(ZaM::ErrorPlot::GetDefaultTag())) overall->add(*plot);
  }
  nodes->Release();
  EXPECT_EQ(overall->GetCount(), 3u);
  EXPECT_EQ(overall->GetGoodHistogram()[0], 1.0f);  // the share of documents that are right, whatever the confidence
}

TEST(GuideTest, CancelsARun) {
  ZaM::Ref const classes = MakeClasses();
  ZaM::Ref const documents = MakeDocuments({{0.9, 0.1}, {0.2, 0.8}, {0.5, 0.4}});
  ZaM::BayesControl control = MakeControl(classes.Get(), documents.Get());
  Limit limit(2);
  ZaM::BayesClassifier classifier;
  classifier.SetCallBack(&limit);
  EXPECT_THROW(classifier.DoAlgorithm(&control), ZaM::UserCanceledException);
  EXPECT_EQ(limit.GetCurrent(), 2u);
}

TEST(GuideTest, RunsAnAlgorithmOfOnesOwn) {
  ZaM::Ref const documents = MakeDocuments({{0.5, 0.25}});
  Scale scale;
  std::unique_ptr<ZaM::Control> const control(scale.CreateController());
  auto& block = dynamic_cast<ScaleControl&>(*control);
  block.root = documents.Get();
  block.factor = 2.0;
  scale.DoAlgorithm(control.get());
  auto& document = dynamic_cast<ZaM::DocumentNode&>(**ZaM::Children(*documents).begin());
  auto const expectScaled = [&] {
    EXPECT_EQ(dynamic_cast<NumberVector&>(*document.GetRepresentation(vectorTag)).numbers, (std::vector{1.0, 0.5}));
  };
  expectScaled();

  Limit limit(0);
  block.progress = &limit;
  EXPECT_THROW(scale.DoAlgorithm(control.get()), ZaM::UserCanceledException);
  expectScaled();
}

TEST(GuideTest, FiltersWords) {
  for (std::string const& bytes : {"\xFF\xFE\xE4\0"s, "ä"s, "\xE4"s}) EXPECT_TRUE(TextOf(bytes) == u"ä");
  auto const words = WordsOf(u"Stra\u00DFe, STRASSE \u2014 3 x \u0441\u043B\u043E\u0432\u043E");
  ASSERT_EQ(words.size(), 3u);
  EXPECT_EQ(words[1], std::string("\x2C\x2D\x2B\x1A\x2C\x2C\x1E"));  // S T R A S S E
  EXPECT_NE(ZaM::stringhash().GetStringHash(words[0]), ZaM::stringhash().GetStringHash(words[1]));
}

// A program's own texts. Its translations lie in <folder>/<language>/mailsort.lng.
ZaM::TextModule const texts(u"/opt/mailsort/mailsort.app", {{1, u"Sorting %s"}, {2, u"%d letters in %d folders"}});

TEST(GuideTest, SpeaksTheUsersLanguage) {
  ZaM::ResMgr resources;
  resources.Init(&texts);
  EXPECT_TRUE(resources.GetString(1, u"inbox", nullptr, nullptr) == u"Sorting inbox");
  std::int32_t const sorted = 12;
  std::int32_t const folders = 3;
  EXPECT_TRUE(resources.GetStringL(2, &sorted, &folders, nullptr) == u"12 letters in 3 folders");
  EXPECT_TRUE(resources.GetString(3, u"inbox", nullptr, nullptr) == u"Resource string #3 not found!");

  try {
    throw ZaM::FileIOException(ZaM::ErrorId::FileOpen, u"inbox.xml");
  } catch (ZaM::BaseException const& failure) {
    EXPECT_TRUE(failure.GetErrorDescription() == u"Could not open file: inbox.xml");
  }

  try {
    ZaM::XmlTree letters(u"letters.xml");  // there is no such file
  } catch (ZaM::BaseException const& failure) {
    EXPECT_EQ(failure.GetErrorId(), 2003);
    EXPECT_EQ(failure.GetErrorDescription(), u"Could not open file: letters.xml");
  }

  ZaM::WinOperationException const failure(ZaM::ErrorId::SystemCall, u"mkdir", ENOENT);
  EXPECT_EQ(failure.GetErrorDescription(), u"Win operation \"mkdir\" failed. Error: 2 - No such file or directory");

  EXPECT_TRUE(ZaM::SetLanguage(u"pt-BR"));  // there is a satellite for Portuguese
  EXPECT_TRUE(ZaM::FileIOException(ZaM::ErrorId::FileOpen, u"a.xml").GetErrorDescription() ==
              u"Não foi possível abrir o ficheiro: a.xml");
  EXPECT_FALSE(ZaM::SetLanguage(u"tlh"));  // there is none: still Portuguese
  EXPECT_TRUE(ZaM::SetLanguage(u"en"));
}

TEST(GuideTest, FindsAFactory) {
  ZaM::test::TemporaryFolder const folder;
  ZaM::wstring const path = folder.Write("letter.txt", std::string(10'000, 'x')).u16string();
  auto& platform = ZaM::ExternalRepFactoryPlatform::GetFactoryPlatform();
  platform.AddFactory(new TextFileFactory);  // the registry's from here on, also if it turns it down

  ZaM::Ref document(ZaM::DocumentNode::Create());
  if (auto const* factory = platform.GetFactory("text file")) {
    document->AddRepresentation(factory->CreateRepresentation(path));
  }

  std::string text;
  auto* const file = dynamic_cast<ZaM::ExternalRepresentation*>(document->GetRepresentation(fileTag));
  char block[4096];
  while (unsigned int const size = file->GetBlock(block, sizeof block)) text.append(block, size);
  EXPECT_EQ(text, std::string(10'000, 'x'));

  platform.RemoveFactory("text file");
  EXPECT_EQ(platform.GetFactoryCount(), 0u);
}

}  // namespace
}  // namespace guide
