/* l3ctl inspect: a configuration file as bytes, each field with its offset, and what is torn about it.
 * Only looks: no call of the library, since those create a missing file. */
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include "l3ctl/commands.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/stored_report.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_check.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/escape.hpp"
#include "settings/values.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::StoredField;
using settings::StoredFile;

/* A field as it is shown. */
struct Shown {
  std::string name;
  size_t offset;
  int record_offset; /* -1 in the two lines */
  std::string bytes; /* as the file has them; fewer, or none, behind its end */
  size_t size;
  std::string value;
};

struct Question {
  std::string file = configuration_path;
  bool all = false;
};

std::string hex_of(std::string_view bytes) {
  return settings::hex_text(
      std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
}

std::string part_of(std::string_view bytes, size_t offset, size_t size) {
  return std::string(offset < bytes.size() ? bytes.substr(offset, size) : "");
}

bool is_in_empty_entry(const StoredField& field, std::string_view image) {
  if (field.entry < 0) {
    return false;
  }
  const settings::StoredSection& section = *field.section;
  const std::string_view entry =
      image.substr(section.entry_offset(static_cast<size_t>(field.entry)), section.entry_size);
  return entry.find_first_not_of('\0') == std::string_view::npos;
}

std::vector<Shown> fields_of(const StoredFile& stored, std::string_view bytes, bool all) {
  constexpr size_t vpn_size = settings::firewall_line_offset - settings::vpn_line_offset;
  constexpr size_t firewall_size = settings::fw_offset - settings::firewall_line_offset;
  std::vector<Shown> fields = {{"vpn_pass_through", settings::vpn_line_offset, -1,
                                part_of(bytes, settings::vpn_line_offset, vpn_size), vpn_size,
                                settings::vpn_of(stored.image) ? "on" : "off"},
                               {"fire_wall", settings::firewall_line_offset, -1,
                                part_of(bytes, settings::firewall_line_offset, firewall_size),
                                firewall_size, settings::firewall_of(stored.image) ? "on" : "off"}};
  for (const StoredField& field : settings::stored_fields()) {
    if (all || !is_in_empty_entry(field, stored.image)) {
      fields.push_back({settings::name_of(field), field.offset,
                        static_cast<int>(field.offset - field.section->record),
                        part_of(bytes, field.offset, field.member->size), field.member->size,
                        settings::meaning_of(field, stored.image)});
    }
  }
  return fields;
}

/* The bytes in hexadecimal; the zeros at the end of a long field are left out. */
std::string shown_bytes(const Shown& field) {
  std::string_view bytes = field.bytes;
  if (bytes.empty()) {
    return "-";
  }
  const size_t used = bytes.find_last_not_of('\0') + 1;
  const bool is_cut = bytes.size() > 16 && used < bytes.size();
  return is_cut ? hex_of(bytes.substr(0, used)) + ".." : hex_of(bytes);
}

std::string column(const std::string& text, size_t width) {
  return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

std::string number(int value, size_t width) {
  const std::string text = value < 0 ? "-" : std::to_string(value);
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

void print_fields(const std::vector<Shown>& fields) {
  constexpr size_t name_width = 56;
  constexpr size_t value_width = 24;
  constexpr size_t longest_value = 48;
  std::cout << '\n'
            << painted(Paint::strong, "offset  record  " + column("field", name_width) +
                                          column("value", value_width) + "bytes")
            << '\n';
  for (const Shown& field : fields) {
    const std::string value = escape(field.value);
    const bool is_long = value.size() > longest_value;
    std::cout << number(static_cast<int>(field.offset), 6) << number(field.record_offset, 8) << "  "
              << column(field.name, name_width)
              << column(is_long ? value.substr(0, longest_value) + ".." : value, value_width)
              << shown_bytes(field) << '\n';
  }
}

void print_findings(const Question& question, const StoredFile& stored) {
  constexpr size_t enough = 20;
  std::cout << '\n';
  if (stored.findings.empty()) {
    std::cout << painted(Paint::good, "nothing is torn or implausible") << '\n';
  }
  const bool has_advice = is_in_use(question.file);
  for (size_t i = 0; i < stored.findings.size() && (question.all || i < enough); ++i) {
    const settings::StoredFinding& finding = stored.findings[i];
    const bool is_note = finding.kind == settings::StoredFinding::Kind::note;
    std::cout << painted(is_note ? Paint::warning : Paint::bad, escape(line_of(finding))) << '\n';
    if (has_advice) {
      std::cout << "  " << painted(Paint::strong, "what to do:") << " "
                << escape(advice_on(finding)) << '\n';
    }
  }
  if (!question.all && stored.findings.size() > enough) {
    std::cout << "and " << stored.findings.size() - enough << " more; --all tells them\n";
  }
}

void print(const Question& question, const StoredFile& stored, std::string_view bytes) {
  const bool is_known = stored.order != settings::ByteOrder::unknown;
  std::cout << "file        " << escape(question.file) << ", " << stored.size << " bytes\n"
            << "byte order  "
            << (is_known ? name_of(stored.order)
                         : std::string("cannot be told; taken as ") +
                               name_of(settings::host_byte_order()))
            << (stored.order == settings::host_byte_order() ? ", as this machine\n" : "\n");
  print_fields(fields_of(stored, bytes, question.all));
  print_findings(question, stored);
}

void print_json(const Question& question, const StoredFile& stored, std::string_view bytes) {
  Json fields = Json::array();
  for (const Shown& field : fields_of(stored, bytes, question.all)) {
    fields.push_back(
        {{"field", field.name},
         {"offset", field.offset},
         {"record_offset", field.record_offset < 0 ? Json() : Json(field.record_offset)},
         {"size", field.size},
         {"bytes", hex_of(field.bytes)},
         {"value", field.value}});
  }
  Json findings = Json::array();
  for (const settings::StoredFinding& finding : stored.findings) {
    findings.push_back(as_json(question.file, finding));
  }
  const Json result = {{"file", question.file},
                       {"size", stored.size},
                       {"byte_order", name_of(stored.order)},
                       {"plausible", settings::is_plausible(stored)},
                       {"findings", findings},
                       {"fields", fields}};
  l3ctl::print_json(result);
}

int inspect(const Context& context, const Question& question) {
  const std::string bytes =
      question.file == "-"
          ? read_descriptor_up_to(STDIN_FILENO, input_name(question.file), largest_stored_file)
          : read_up_to(question.file, largest_stored_file);
  if (bytes.size() == largest_stored_file) {
    inform("note: only the first " + std::to_string(largest_stored_file) + " bytes were read");
  }
  const StoredFile stored = inspect_stored_file(question.file, bytes);
  (context.json ? print_json : print)(question, stored, bytes);
  return settings::is_plausible(stored) ? exit_done : exit_implausible;
}

}  // namespace

void add_inspect_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "inspect", "Take a configuration file apart, and say what is torn or implausible about it");
  auto question = std::make_shared<Question>();
  command
      ->add_option("FILE", question->file, "A configuration file of either byte order; - is input")
      ->capture_default_str();
  command->add_flag("--all", question->all, "Empty entries and every finding too");
  command->callback([&context, question] {
    context.action = [&context, question] { return inspect(context, *question); };
  });
}

}  // namespace l3ctl
