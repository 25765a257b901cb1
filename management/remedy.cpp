#include "management/remedy.hpp"

namespace management {

namespace {

RemedyWords words_of_front_end = nullptr;

}  // namespace

void set_remedy_words(RemedyWords words) {
  words_of_front_end = words;
}

std::string worded(const Remedy& remedy) {
  return words_of_front_end == nullptr ? "" : words_of_front_end(remedy);
}

std::string and_remedy(Remedy::Kind kind) {
  const std::string words = worded({kind});
  return words.empty() ? "" : "; " + words;
}

}  // namespace management
