/*
 * How l3ctl uses the library: the library's lines for standard output go to standard error, changing
 * commands hold a lock and start from what is stored, and rules that fail are reported from our
 * own system(), since several calls ignore them.
 */
#pragma once

#include <cstdint>
#include <exception>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "executor/executor.hpp"
#include "l3ctl/before.hpp"
#include "l3ctl/context.hpp"
#include "l3ctl/lock.hpp"
#include "settings/settings.hpp"

namespace l3ctl {

inline constexpr char configuration_path[] = "/ztcfg/l3_advance.dat";

/* While one of these lives, standard output leads to standard error. */
class OutputAside {
 public:
  OutputAside();
  OutputAside(const OutputAside&) = delete;
  OutputAside& operator=(const OutputAside&) = delete;
  ~OutputAside();

 private:
  int real_;
};

/* Calls the library with its output aside. */
template <typename Call>
auto quietly(Call&& call) {
  const OutputAside aside;
  return call();
}

/* Whether there is a configuration file. */
bool stored_exists();

/* Everything that is stored, loaded into the library too. A missing file is created. */
settings::Settings load_stored();

/* The same without any change: where there is no file yet, the defaults that it would get. */
settings::Settings stored_or_defaults();

/* What remains of a change that fails. */
enum class OnFailure : uint8_t {
  put_back, /* nothing: settings, files, rules and platform are what they were */
  go_on,    /* all that did not fail */
};

/* What a changing command goes on with. */
enum class Meets : uint8_t {
  sound_state, /* what is stored is whole and plausible, and no apply waits for its confirmation */
  hostile_portal, /* the same, but for portal destinations that a shell could run: it replaces them first */
  damage, /* and what is stored may be torn or implausible, which the command is a way out of */
  anything,
};

/* Whose rules a change will most likely edit: they are read while it gets ready. A wrong guess costs
 * time alone. */
enum class Foreseen : uint8_t { nothing, ipv4_rules, ipv6_rules };

/* One changing command, from taking the lock to its report. Rules are made as a whole in the end,
 * unless the command line says one by one. */
class Change {
 public:
  /* Proves that the library's command lines end here, and loads what is stored. */
  Change(const Context& context, Lock lock, Meets meets, OnFailure on_failure);
  explicit Change(const Context& context, Meets meets = Meets::sound_state)
      : Change(context, Lock(context), meets, OnFailure::put_back) {}
  Change(const Context& context, Foreseen foreseen, Meets meets = Meets::sound_state);
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  ~Change();

  [[nodiscard]] const settings::Settings& stored() const { return stored_; }

  /* What the library reports as failed so far. */
  [[nodiscard]] const std::vector<std::string>& failed() const { return failed_; }

  /* Loads again, after the file was replaced. */
  void load() { stored_ = load_stored(); }

  /* Calls the library; a result of 0 is success. A failure is noted for the report. */
  template <typename Call>
  bool call(const std::string& what, Call&& library_call) {
    const bool succeeded = quietly(library_call) == 0;
    if (!succeeded) {
      failed_.push_back(what);
    }
    return succeeded;
  }

  /* Keeps another file, which a change that fails must leave as it was. */
  void keep(const std::string& path) { before_->keep(path); }

  /* Calls the library while none of its command lines is run: what it stores is stored. */
  template <typename Calls>
  void without_rules(Calls&& calls) {
    executor::work(executor::Way::record);
    calls();
    executor::work(way());
  }

  /* Puts back what was before. Returns whether all of it could be, and tells what not. */
  bool take_back();

  /* Makes the rules, unless that was done before. Returns whether nothing failed. */
  bool make();

  /* Makes the rules; when anything failed, puts back what was before. Then tells on standard error what
   * failed, and on standard output what was done: `done` as it is, or an object with it and with
   * `members`. Returns the exit status. */
  int report(const std::string& done, const nlohmann::ordered_json& members);
  int report(const std::string& done);

 private:
  nlohmann::ordered_json failed_rules() const;
  [[nodiscard]] executor::Way way() const;
  std::vector<std::string> put_back();
  int tell_failure(const nlohmann::ordered_json& rules, const std::vector<std::string>& remains);

  const Context& context_;
  OnFailure on_failure_;
  int exceptions_ = std::uncaught_exceptions();
  Lock lock_;
  std::optional<Before> before_;
  settings::Settings stored_;
  std::vector<std::string> failed_;
};

}  // namespace l3ctl
