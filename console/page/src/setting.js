/* What a path such as "url_filter.entries[0]" stands for, in the words of its entry. */
import { shortName } from "./devices.js";
import { filterOfSection, filters } from "./filters.js";
import { wordOf } from "./components/entry.js";
import { spanText } from "./components/span.js";
import { asObject, fieldsOf } from "./schema.js";
import { state } from "./store.js";
import { has, t } from "./words/words.js";

export function entryWords(section, written) {
  const { list } = filters[filterOfSection(section)];
  const entry = asObject(section, list, written);
  const words = fieldsOf(section, list)
    .filter(
      (field) =>
        field.ref === "active" || (entry[field.name] !== undefined && field.name !== "enabled"),
    )
    .map((field) => {
      if (field.ref === "active") return spanText(entry.active);
      if (field.name === "mac") return shortName(entry.mac);
      if (field.ref === "ports" || field.ref === "ipv4" || field.ref === "ipv6") {
        return `${t(`field.${field.name}`)} ${entry[field.name]}`;
      }
      return wordOf(entry[field.name]);
    });
  if (entry.enabled === false) words.push(t("rests"));
  return words.join(", ");
}

export function sectionWords(section) {
  const filter = filterOfSection(section);
  if (filter) return t(`filter.${filter}`);
  return has(`switch.${section}`) ? t(`switch.${section}`) : section;
}

export function settingWords(path, settings = state.loaded.settings) {
  const [, section, list, index] = /^(\w+)(?:\.(\w+)\[(\d+)\])?/.exec(path) ?? [];
  const entry = settings?.[section]?.[list]?.[index];
  if (entry === undefined || !filterOfSection(section)) return sectionWords(section ?? path);
  return `${sectionWords(section)}: ${entryWords(section, entry)}`;
}
