#include "l3ctl/views/remedy_words.hpp"

#include "management/system/text.hpp"

namespace l3ctl {

namespace {

using management::Remedy;
using Kind = Remedy::Kind;

/* To set what is stored already would change nothing, so the other comes first. */
std::string toggle(const std::string& command, const std::string& state) {
  const std::string on = "\"l3ctl " + command + " on\"";
  const std::string off = "\"l3ctl " + command + " off\"";
  return state == "on" ? off + ", then " + on : on + ", then " + off;
}

std::string words_about_drift(const Remedy& remedy) {
  switch (remedy.kind) {
    case Kind::make_chains:
      return "\"l3ctl init --again\" makes chains and jumps anew";
    case Kind::make_rules:
      return remedy.about == "on" ? "\"l3ctl firewall on\" makes the rules of the lists anew"
                                  : "\"l3ctl firewall off\" takes the rules of the lists away";
    case Kind::toggle_dhcp_filter:
      return toggle("dhcp-filter", remedy.about);
    case Kind::toggle_ipsec:
      return toggle("ipsec", remedy.about);
    case Kind::bind_wan:
      return "\"l3ctl wan update " + (remedy.about.empty() ? "NAME" : remedy.about) +
             "\" binds the rules to the Internet WAN";
    default:
      return "\"l3ctl restore " + remedy.about + "\"";
  }
}

constexpr struct {
  Kind kind;
  const char* words;
} table[] = {
    {Kind::list_drift, "\"l3ctl check\" lists all"},
    {Kind::start_up, "\"l3ctl init\" makes them at start-up"},
    {Kind::start_at_boot, "run \"l3ctl init\" once at every boot"},
    {Kind::start_up_rolls_back, "\"l3ctl init\" restores the old settings"},
    {Kind::dhcp_filter_off_on, "\"l3ctl dhcp-filter off\" and \"on\" do"},
    {Kind::bind_rules, "\"l3ctl wan update\" binds them"},
    {Kind::connect_wan, "connect the gateway, then \"l3ctl wan update\""},
    {Kind::save_rules, "\"l3ctl firewall on\" saves the rules, where the firewall is to be on"},
    {Kind::save_rules_anew,
     "\"l3ctl firewall on\" saves the rules anew, where the firewall is to be on"},
    {Kind::inspect, "\"l3ctl inspect\" tells all"},
    {Kind::inspect_all, "\"l3ctl inspect --all\" tells them"},
    {Kind::inspect_unsafe, "\"l3ctl inspect\" says what to do"},
    {Kind::mend_damage,
     "\"l3ctl inspect\" tells all, \"l3ctl restore\" puts a backup back, --force goes on all the "
     "same"},
    {Kind::restore_other_backup, "look for one elsewhere: \"l3ctl restore FILE\" checks it first"},
    {Kind::list_warnings, "\"l3ctl export | l3ctl diff -\" tells them"},
    {Kind::wait_longer, "another l3ctl is changing settings; --lock-timeout waits longer"},
    {Kind::confirm_or_revert,
     "\"l3ctl confirm\" keeps its settings, \"l3ctl confirm --revert\" restores the old ones"},
    {Kind::confirm, "\"l3ctl confirm\" keeps the new settings"},
    {Kind::revert, "\"l3ctl confirm --revert\" restores the old settings"},
    {Kind::confirm_in_time,
     "\"l3ctl confirm\" keeps the new settings, \"l3ctl confirm --revert\" restores the old ones"},
    {Kind::shift_spans, "\"l3ctl clock\" shifts them; run it at every boot and every hour"},
    {Kind::picture, "\"l3ctl rules --svg\""},
    {Kind::one_build, "install l3ctl and the library from one build"},
};

}  // namespace

std::string remedy_words(const Remedy& remedy) {
  for (const auto& row : table) {
    if (row.kind == remedy.kind) {
      return row.words;
    }
  }
  return words_about_drift(remedy);
}

std::string remedy_words(const std::vector<Remedy>& remedies) {
  std::vector<std::string> words;
  for (const Remedy& remedy : remedies) {
    words.push_back(remedy_words(remedy));
  }
  return management::joined(words, "; ");
}

}  // namespace l3ctl
