// The code that docs/guide.md shows; scripts/check-docs compares the two.
#include <gtest/gtest.h>
#include <zam/zam.h>

#include <cstdint>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

// A view of a document as numbers, on the document's feature chain under a tag of its own.
class NumberVector : public ZaM::Node, public ZaM::Representation {
 public:
  static NumberVector* Create(ZaM::RepTag const& tag, std::vector<double> numbers) {
    return ZaM::CreateCounted([&] { return new NumberVector(tag, std::move(numbers)); });
  }

  bool IsValid() const override { return !numbers.empty(); }
  std::vector<double> const numbers;

 protected:
  NumberVector(ZaM::RepTag const& given, std::vector<double> content)
      : Representation(given), numbers(std::move(content)) {}
};

// A class of the class tree, with the weights that it has learned.
class LinearClass : public ZaM::DocumentNode, public ZaM::Representation {
 public:
  static LinearClass* Create(unsigned int number, ZaM::RepTag const& tag, std::vector<double> weights) {
    return ZaM::CreateCounted([&] { return new LinearClass(number, tag, std::move(weights)); });
  }

  bool IsValid() const override { return true; }
  double GetMinimum() const override { return -1.0; }
  double GetMaximum() const override { return 1.0; }

  // What isn't a vector of the same length has nothing in common with the class.
  double dot(Representation const& document) const override {
    auto const* const vector = dynamic_cast<NumberVector const*>(&document);
    if (!vector || vector->numbers.size() != weights.size()) return GetMinimum();
    return std::inner_product(weights.begin(), weights.end(), vector->numbers.begin(), 0.0);
  }

 protected:
  LinearClass(unsigned int number, ZaM::RepTag const& given, std::vector<double> learned)
      : DocumentNode(number, nullptr), Representation(given), weights(std::move(learned)) {}

 private:
  std::vector<double> const weights;
};

ZaM::RepTag const classTag = ZaM::SetRepTag("Clss");
ZaM::RepTag const vectorTag = ZaM::SetRepTag("Vect");
ZaM::RepTag const resultTag = ZaM::SetRepTag("Rslt");

ZaM::Ref<ZaM::DocumentNode> makeClasses() {
  ZaM::Ref classes(ZaM::DocumentNode::Create());
  classes->AddChild(LinearClass::Create(1, classTag, {1.0, 0.0}));
  classes->AddChild(LinearClass::Create(2, classTag, {0.0, 1.0}));
  return classes;
}

ZaM::Ref<ZaM::DocumentNode> makeDocuments(std::vector<std::vector<double>> const& vectors) {
  ZaM::Ref documents(ZaM::DocumentNode::Create());
  for (auto const& numbers : vectors) {
    ZaM::Ref document(ZaM::DocumentNode::Create(numbers[0] > numbers[1] ? 1 : 2, nullptr));
    document->AddRepresentation(NumberVector::Create(vectorTag, numbers));
    documents->AddChild(document.Detach());
  }
  return documents;
}

ZaM::BayesControl makeControl(ZaM::Node* classes, ZaM::Node* documents) {
  ZaM::BayesControl control;
  control.SetDoLearn(true);
  control.SetDoClassify(true);
  control.SetDoNormalize(true);
  control.SetClassTag(classTag);
  control.SetDocumentTag(vectorTag);
  control.SetResultTag(resultTag);  // the three tags are equal by default: keep them apart
  control.SetRootClass(classes);
  control.SetRootDocument(documents);
  return control;
}

TEST(GuideTest, ClassifiesAndEvaluates) {
  ZaM::Ref const classes = makeClasses();
  ZaM::Ref const documents = makeDocuments({{0.9, 0.1}, {0.2, 0.8}, {0.5, 0.4}});
  ZaM::BayesControl control = makeControl(classes.Get(), documents.Get());
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

// Cancels a run after a number of documents.
class Limit : public ZaM::CallBack {
 public:
  explicit Limit(unsigned int documents) { SetMaximum(documents); }

  void Increment(unsigned int step, bool* stop) override {
    if (GetCurrent() == GetMaximum()) {
      *stop = true;
      return;
    }
    CallBack::Increment(step, stop);
  }
};

TEST(GuideTest, CancelsARun) {
  ZaM::Ref const classes = makeClasses();
  ZaM::Ref const documents = makeDocuments({{0.9, 0.1}, {0.2, 0.8}, {0.5, 0.4}});
  ZaM::BayesControl control = makeControl(classes.Get(), documents.Get());
  Limit limit(2);
  ZaM::BayesClassifier classifier;
  classifier.SetCallBack(&limit);
  EXPECT_THROW(classifier.DoAlgorithm(&control), ZaM::UserCanceledException);
  EXPECT_EQ(limit.GetCurrent(), 2u);
}

// The parameters of the algorithm below.
struct ScaleControl : ZaM::Control {
  ZaM::DocumentNode* root = nullptr;
  double factor = 1.0;
  ZaM::CallBack* progress = nullptr;
};

// An algorithm of one's own: replaces each document's vector by a scaled one.
class Scale : public ZaM::Algorithm {
 public:
  void DoAlgorithm(ZaM::Control* control) override {
    auto const* const block = dynamic_cast<ScaleControl*>(control);
    if (!block || !block->root) return;
    for (ZaM::Node* child : ZaM::Children(*block->root)) {
      bool stop = false;
      if (block->progress) block->progress->Increment(1, &stop);
      if (stop) throw ZaM::UserCanceledException(ZaM::ErrorId::DocumentAnalysisCanceled);
      scale(dynamic_cast<ZaM::DocumentNode*>(child), block->factor);
    }
  }

  ZaM::Control* CreateController() override { return new ScaleControl; }

 private:
  static void scale(ZaM::DocumentNode* document, double factor) {
    auto* const vector = document ? dynamic_cast<NumberVector*>(document->GetRepresentation(vectorTag)) : nullptr;
    if (!vector) return;
    std::vector<double> scaled = vector->numbers;
    for (double& number : scaled) number *= factor;
    document->AddRepresentation(NumberVector::Create(vectorTag, std::move(scaled)));
    ZaM::Ref const former(document->RemoveRepresentation(vectorTag));  // the earlier of the two
  }
};

TEST(GuideTest, RunsAnAlgorithmOfOnesOwn) {
  ZaM::Ref const documents = makeDocuments({{0.5, 0.25}});
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

std::vector<std::string> wordsOf(ZaM::wstring const& text) {
  ZaM::Ref filter(ZaM::AsciiTextFilter::Create(2, false));  // words of two letters and more, digits separate
  std::vector<char> symbols(4 * text.size() + 6);           // a unit gives at most four bytes
  auto const length = static_cast<unsigned int>(text.size());
  unsigned int const count =
      filter->FilterTextW(text.data(), length, symbols.data(), static_cast<unsigned int>(symbols.size()));

  std::vector<std::string> words;  // the stream is 0, word, 0, word, 0 …
  for (char const* word = symbols.data() + 1; word < symbols.data() + count; word += words.back().size() + 1) {
    words.emplace_back(word);
  }
  return words;
}

TEST(GuideTest, FiltersWords) {
  auto const words = wordsOf(u"Stra\u00DFe, STRASSE \u2014 3 x \u0441\u043B\u043E\u0432\u043E");
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

  EXPECT_TRUE(ZaM::SetLanguage(u"pt-BR"));  // there is a satellite for Portuguese
  EXPECT_TRUE(ZaM::FileIOException(ZaM::ErrorId::FileOpen, u"a.xml").GetErrorDescription() ==
              u"Não foi possível abrir o ficheiro: a.xml");
  EXPECT_FALSE(ZaM::SetLanguage(u"tlh"));  // there is none: still Portuguese
  EXPECT_TRUE(ZaM::SetLanguage(u"en"));
}

}  // namespace
