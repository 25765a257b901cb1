/*
 * What a server that was taken over may write to the broker: whatever it is, in pieces of any size, it
 * becomes a command line of the table with an argument of the table's kind, or nothing.
 */
#include <algorithm>

#include "console/broker/protocol.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

bool is_plain(const std::string& word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-._:[]").find(c) != std::string_view::npos;
  });
}

void check_call(const console::Call& call) {
  const auto words = command_line(call);
  if (!words) {
    return;
  }
  const console::OperationRow* row =
      console::find_operation(static_cast<std::uint16_t>(call.operation));
  check(row != nullptr && call.input.size() <= row->largest_input, "input within its bounds");
  check(call.stored.empty() || row->compares, "only where it is compared");
  check(words->size() == row->words.size() + (call.stored.empty() ? 0 : 2) +
                             (row->changes ? 1 : 0) + (call.who.empty() ? 0 : 1) +
                             (row->answers_json ? 1 : 0),
        "as many words");
  for (std::size_t at = 0; at < row->words.size(); ++at) {
    const bool is_argument = row->words[at] == "@";
    check(is_argument || (*words)[at] == row->words[at], "the table's word", (*words)[at]);
    check(is_plain((*words)[at]), "nothing but the characters of names and addresses",
          (*words)[at]);
    check(!is_argument || (*words)[at][0] != '-', "an argument is no option", (*words)[at]);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  const std::size_t piece = size == 0 ? 1 : 1 + data[size - 1];
  console::CallFrames pieces;
  console::CallFrames whole;
  console::AnswerFrames answers;
  std::vector<std::string> found;
  for (std::size_t at = 0; at < size; at += piece) {
    pieces.add(bytes + at, std::min(piece, size - at));
    while (const auto call = pieces.next()) {
      check_call(call->call);
      found.push_back(frame_of(*call));
    }
  }
  whole.add(bytes, size);
  for (const std::string& frame : found) {
    const auto call = whole.next();
    check(call && frame_of(*call) == frame, "pieces are read as the whole is");
  }
  check(!whole.next(), "and nothing more");
  answers.add(bytes, size);
  while (answers.next()) {
  }
  return 0;
}
