/* Texts in the reader's language. Texts of the gateway itself (findings, errors) come as they are. */
import { changed, kept } from "../store.js";
import de from "./de.js";
import en from "./en.js";

const ALL = { en, de };
let chosen = kept.get("language") ?? (navigator.language.startsWith("de") ? "de" : "en");
document.documentElement.lang = chosen;

export const languages = Object.keys(ALL);
export const language = () => chosen;

export function setLanguage(to) {
  chosen = to;
  kept.set("language", to);
  document.documentElement.lang = to;
  changed();
}

/* A text with its values: "{n}". With a number `n`, a text of that name and "_one" is for 1. */
export function t(name, values = {}) {
  const words = ALL[chosen];
  const text = (values.n === 1 && words[`${name}_one`]) || words[name];
  if (text === undefined) throw new Error(`no text ${name}`);
  return text.replace(/\{(\w+)\}/g, (_, key) => format(values[key]));
}

function format(value) {
  return typeof value === "number" ? new Intl.NumberFormat(chosen).format(value) : String(value);
}

export const has = (name) => name in ALL[chosen];
