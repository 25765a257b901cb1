/* A plain value of the settings in words. */
import { has, t } from "../words/words.js";
import { wordOf } from "./entry.js";

export function plain(value) {
  if (typeof value === "boolean") return t(value ? "on" : "off");
  if (value === null || value === undefined) return t("nothing");
  if (typeof value === "object") return JSON.stringify(value);
  return has(`mode.${value}`) ? t(`mode.${value}`) : String(wordOf(value));
}
