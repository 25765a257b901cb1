#include "settings/document.hpp"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "settings/syntax_error.hpp"

namespace settings {

namespace {

using json = nlohmann::json;

/* Settings are four levels deep; far more than that is no settings file. */
constexpr size_t deepest = 16;
/* As much of a refused text as a message shows. */
constexpr size_t longest_shown = 60;

/* Walks over the text; `position` is how far the parser has read. */
class Cursor {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Cursor(const char* at, const char** position) : at_(at), position_(position) {}
  reference operator*() const { return *at_; }
  Cursor& operator++() {
    *position_ = ++at_;
    return *this;
  }
  bool operator==(const Cursor& other) const { return at_ == other.at_; }
  bool operator!=(const Cursor& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  const char** position_;
};

/* Receives the parser's events and builds the tree; each node gets the line its token ends on. */
class Builder {
 public:
  Builder(std::string_view text, Problems& problems)
      : position(text.data()), text_(text), counted_(text.data()), problems_(problems) {}

  bool null() { return add({.kind = Node::Kind::null}); }
  bool boolean(bool value) { return add({.kind = Node::Kind::boolean, .boolean = value}); }
  bool number_integer(json::number_integer_t value) {
    return add_number(std::to_string(value), std::nullopt);
  }
  bool number_unsigned(json::number_unsigned_t value) {
    return add_number(std::to_string(value), value);
  }
  bool number_float(json::number_float_t, const std::string& literal) {
    return add_number(literal, std::nullopt);
  }
  bool string(std::string& value) { return add({.kind = Node::Kind::text, .text = value}); }
  static bool binary(json::binary_t&) { return false; }

  bool key(std::string& value) {
    key_ = value;
    return true;
  }
  bool start_object(size_t) { return open(Node::Kind::object); }
  bool start_array(size_t) { return open(Node::Kind::list); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }

  bool parse_error(size_t, const std::string&, const json::exception& error) {
    // "[json.exception…] parse error at line 3, column 5: " comes first; the problem has its own place.
    std::string what = error.what();
    const size_t reason = what.find(": ");
    what = reason == std::string::npos ? what : what.substr(reason + 2);
    const SyntaxError mistake =
        explain_syntax_error(text_, static_cast<size_t>(position - text_.data()), what);
    problems_.refuse_text(mistake.line, mistake.column, mistake.what);
    return false;
  }

  Node root;
  const char* position;

 private:
  size_t line(const char* end) {
    if (end > counted_) {
      line_ += static_cast<size_t>(std::count(counted_, end, '\n'));
      counted_ = end;
    }
    return line_;
  }

  bool add_number(std::string literal, std::optional<uint64_t> number) {
    // The parser has read one character beyond a number to find its end.
    line(position - 1);
    return add({.kind = Node::Kind::number, .text = std::move(literal), .number = number},
               position - 1);
  }

  bool add(Node node) { return add(std::move(node), position); }

  bool add(Node node, const char* end) {
    node.line = line(end);
    node.key = std::move(key_);
    key_.clear();
    if (open_.empty()) {
      root = std::move(node);
    } else {
      open_.back()->children.push_back(std::move(node));
    }
    return true;
  }

  bool open(Node::Kind kind) {
    if (open_.size() == deepest) {
      problems_.refuse(line(position), "", "nested too deeply for settings");
      return false;
    }
    add({.kind = kind});
    // Stays valid: a container grows only while none of its members is open.
    open_.push_back(open_.empty() ? &root : &open_.back()->children.back());
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  std::string_view text_;
  const char* counted_;
  size_t line_ = 1;
  std::string key_;
  std::vector<Node*> open_;
  Problems& problems_;
};

}  // namespace

std::string shown(const Node& node) {
  switch (node.kind) {
    case Node::Kind::null:
      return "null";
    case Node::Kind::boolean:
      return node.boolean ? "true" : "false";
    case Node::Kind::number:
      return node.text.substr(0, longest_shown);
    case Node::Kind::list:
      return "a list";
    case Node::Kind::object:
      return "an object";
    case Node::Kind::text:
      break;
  }
  const std::string text = json(node.text).dump(-1, ' ', true, json::error_handler_t::replace);
  return text.size() <= longest_shown ? text : text.substr(0, longest_shown) + "...\"";
}

size_t line_of_path(const Node& document, std::string_view path) {
  const Node* node = &document;
  while (!path.empty()) {
    // "[2]…" is the third child, "key…" the one of that name.
    const bool is_index = path.front() == '[';
    const size_t end = std::min(path.find_first_of(is_index ? "]" : ".["), path.size());
    const std::string step(path.substr(is_index ? 1 : 0, is_index ? end - 1 : end));
    const auto child =
        std::find_if(node->children.begin(), node->children.end(), [&](const Node& one) {
          return is_index ? std::to_string(&one - node->children.data()) == step : one.key == step;
        });
    if (child == node->children.end()) {
      break;
    }
    node = &*child;
    path.remove_prefix(std::min(is_index ? end + 1 : end, path.size()));
    path.remove_prefix(path.starts_with('.') ? 1 : 0);
  }
  return node->line;
}

std::optional<Node> parse_document(std::string_view text, Problems& problems) {
  const char* begin = text.data();
  const char* end = begin + text.size();
  // The parser would take a zero byte for the end of the text.
  if (const char* zero = std::find(begin, end, '\0'); zero != end) {
    problems.refuse(1 + static_cast<size_t>(std::count(begin, zero, '\n')), "",
                    "no JSON: a zero byte");
    return std::nullopt;
  }
  Builder builder(text, problems);
  if (!json::sax_parse(Cursor(begin, &builder.position), Cursor(end, &builder.position),
                       &builder)) {
    return std::nullopt;
  }
  return std::move(builder.root);
}

}  // namespace settings
