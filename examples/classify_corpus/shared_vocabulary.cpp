#include "shared_vocabulary.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "message.h"
#include "run_error.h"

namespace classify {

namespace {

struct Answer {
  std::uint32_t number;
  float weight;
};
constexpr std::uint32_t unknown = std::numeric_limits<std::uint32_t>::max();

// The first hash that a later rank than `rank` owns. Hashes are spread evenly, and so are these stretches.
std::uint64_t EndOfStretch(std::size_t rank, std::size_t ranks) {
  return (std::uint64_t{1} << 32) * (rank + 1) / ranks;
}

// By rank, the counts in its stretch, kind by kind.
std::vector<std::string> Questions(std::array<std::vector<TermCount>, termKindCount> const& counts, std::size_t ranks) {
  std::vector<MessageWriter> messages(ranks);
  for (std::vector<TermCount> const& ofKind : counts) {
    auto begin = ofKind.begin();
    for (std::size_t rank = 0; rank < ranks; ++rank) {
      auto const end = std::partition_point(
          begin, ofKind.end(), [&](TermCount const& count) { return count.hash < EndOfStretch(rank, ranks); });
      messages[rank].PutAll(std::span<TermCount const>(begin, end));
      begin = end;
    }
  }
  std::vector<std::string> questions;
  questions.reserve(messages.size());
  for (MessageWriter& message : messages) questions.push_back(message.Take());
  return questions;
}

using Asked = std::vector<std::vector<TermCount>>;  // by the rank that asks

// Terms that enough documents have, with the sums of their counts.
SharedVocabulary::Stretch AddUp(Asked const& asked, TermKind kind, std::size_t total) {
  std::vector<TermCount> counts;
  for (std::vector<TermCount> const& some : asked) counts.insert(counts.end(), some.begin(), some.end());
  std::ranges::sort(counts, {}, &TermCount::hash);
  SharedVocabulary::Stretch stretch;
  for (auto begin = counts.begin(); begin != counts.end();) {
    std::uint32_t const hash = begin->hash;
    std::uint32_t documents = 0;
    for (; begin != counts.end() && begin->hash == hash; ++begin) documents += begin->documents;
    if (!IsKnown(kind, documents)) continue;
    stretch.hashes.push_back(hash);
    stretch.weights.push_back(RarityWeight(kind, documents, total));
  }
  return stretch;
}

// Both lists ascend.
void AnswerInto(MessageWriter& message, std::vector<TermCount> const& asked, SharedVocabulary::Stretch const& stretch) {
  std::vector<Answer> answers;
  std::size_t i = 0;
  for (TermCount const& count : asked) {
    while (i < stretch.hashes.size() && stretch.hashes[i] < count.hash) ++i;
    bool const isKnown = i < stretch.hashes.size() && stretch.hashes[i] == count.hash;
    answers.push_back(isKnown ? Answer{stretch.begin + static_cast<std::uint32_t>(i), stretch.weights[i]}
                              : Answer{unknown, 0});
  }
  message.PutAll(std::span<Answer const>(answers));
}

}  // namespace

SharedVocabulary::SharedVocabulary(std::vector<Document const*> const& training, Communicator& ranks) {
  std::array<std::vector<TermCount>, termKindCount> counts;
  for (std::size_t kind = 0; kind < termKindCount; ++kind) counts[kind] = CountTerms(training, allTermKinds[kind]);
  auto const total = static_cast<std::size_t>(ranks.Sum(training.size()));

  std::array<Asked, termKindCount> asked;
  for (std::string const& bytes : ranks.AllToAll(Questions(counts, ranks.Size()))) {
    MessageReader message(bytes);
    for (Asked& ofKind : asked) ofKind.push_back(message.GetAll<TermCount>());
  }
  for (std::size_t kind = 0; kind < termKindCount; ++kind) own[kind] = AddUp(asked[kind], allTermKinds[kind], total);
  Number(ranks);

  std::vector<std::string> replies;
  for (std::size_t rank = 0; rank < ranks.Size(); ++rank) {
    MessageWriter message;
    for (std::size_t kind = 0; kind < termKindCount; ++kind) AnswerInto(message, asked[kind][rank], own[kind]);
    replies.push_back(message.Take());
  }
  asked = {};
  replies = ranks.AllToAll(std::move(replies));

  std::vector<MessageReader> readers(replies.begin(), replies.end());
  std::vector<TermKey> keys;
  std::vector<float> weights;
  for (std::size_t kind = 0; kind < termKindCount; ++kind) {
    auto count = counts[kind].begin();
    for (MessageReader& reader : readers) {
      for (auto const [number, weight] : reader.GetAll<Answer>()) {
        std::uint32_t const hash = (count++)->hash;
        if (number == unknown) continue;
        keys.push_back({allTermKinds[kind], hash});
        weights.push_back(weight);
        numbers.push_back(number);
      }
    }
  }
  local = Vocabulary(std::move(keys), std::move(weights));
}

// Kind by kind, and in these by hash: those of all ranks before come first.
void SharedVocabulary::Number(Communicator& ranks) {
  MessageWriter message;
  for (Stretch const& stretch : own) message.Put(std::uint64_t{stretch.hashes.size()});
  std::vector<std::string> const sizes = ranks.AllToAll(std::vector(ranks.Size(), message.Take()));
  std::vector<MessageReader> readers(sizes.begin(), sizes.end());
  for (Stretch& stretch : own) {
    for (std::size_t rank = 0; rank < ranks.Size(); ++rank) {
      if (rank == ranks.Rank()) stretch.begin = static_cast<std::uint32_t>(size);
      size += static_cast<std::size_t>(readers[rank].Get<std::uint64_t>());
    }
  }
  if (size >= unknown) throw RunError{"there are too many terms"};
}

std::vector<WeightedTerm> SharedVocabulary::Weigh(Terms const& terms) const {
  std::vector<WeightedTerm> weighted = local.Weigh(terms);
  for (WeightedTerm& term : weighted) term.index = numbers[term.index];
  return weighted;
}

}  // namespace classify
