#include "shared_corpus.h"

#include <string>
#include <utility>
#include <vector>

#include "fold.h"
#include "message.h"

namespace classify {

namespace {

std::string Stretch(Corpus const& whole, std::size_t rank, std::size_t ranks) {
  MessageWriter message;
  message.PutText(whole.folder.native());
  message.Put(std::uint64_t{whole.classNames.size()});
  for (std::string const& name : whole.classNames) message.PutText(name);
  std::size_t const end = whole.files.size() * (rank + 1) / ranks;
  for (std::size_t i = whole.files.size() * rank / ranks; i < end; ++i) {
    message.Put(whole.files[i].classId);
    message.PutText(whole.files[i].path.native());
  }
  return message.Take();
}

}  // namespace

Corpus ShareOut(Corpus whole, Communicator& ranks) {
  if (ranks.IsAlone()) return whole;
  std::vector<std::string> stretches(ranks.Size());
  if (ranks.IsFirst())
    for (std::size_t rank = 0; rank < ranks.Size(); ++rank) stretches[rank] = Stretch(whole, rank, ranks.Size());
  std::string const bytes = std::move(ranks.AllToAll(std::move(stretches)).front());

  MessageReader message(bytes);
  Corpus corpus{message.GetText(), std::vector<std::string>(message.Get<std::uint64_t>()), {}};
  for (std::string& name : corpus.classNames) name = message.GetText();
  while (!message.IsAtEnd()) {
    auto const classId = message.Get<unsigned int>();
    std::filesystem::path path = message.GetText();
    unsigned int const fold = FoldOf(path.filename().native());
    corpus.files.push_back({std::move(path), classId, fold});
  }
  return corpus;
}

void GatherNotes(Notes& notes, Communicator& ranks) {
  if (ranks.IsAlone()) return;
  MessageWriter message;
  if (!ranks.IsFirst()) {
    notes.ForEach([&](std::string const& text, std::string const& name) {
      message.PutText(text);
      message.PutText(name);
    });
    notes = {};
  }
  for (std::string const& bytes : ranks.Gather(message.Take())) {
    for (MessageReader reader(bytes); !reader.IsAtEnd();) {
      std::string const text = reader.GetText();
      notes.Add(text, reader.GetText());
    }
  }
}

}  // namespace classify
