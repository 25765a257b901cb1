/* What the settings may hold, from the schema that l3ctl is tested against: no limit is written down twice. */
import schema from "../../../schema/settings.schema.json";

/* Kept in an entry that has them, and asked of nobody. */
const UNSEEN = new Set(["index", "second_source", "second_destination", "reserved", "flag"]);

function resolved(part) {
  if (!part?.$ref) return part;
  return {
    ...schema.$defs[part.$ref.replace("#/$defs/", "")],
    ref: part.$ref.replace("#/$defs/", ""),
  };
}

function sectionSchema(section) {
  return schema.properties[section];
}

/* An entry is an object, or a plain text that stands for its one field. */
function entrySchema(section, list) {
  const items = sectionSchema(section).properties[list].items;
  return items.oneOf ? items.oneOf.find((one) => one.type === "object") : items;
}

export function mostEntries(section, list) {
  return sectionSchema(section).properties[list].maxItems;
}

/* The fields that a form asks for. */
export function fieldsOf(section, list) {
  const entry = entrySchema(section, list);
  return Object.entries(entry.properties)
    .filter(([name]) => !UNSEEN.has(name))
    .map(([name, part]) => ({ name, ...resolved(part), required: entry.required.includes(name) }));
}

/* An entry as an object, whichever way it is written. */
export function asObject(section, list, entry) {
  return typeof entry === "string" ? { [entrySchema(section, list).required[0]]: entry } : entry;
}

/* Without fields that only repeat the schema's default, and as a plain text where that says all. */
export function asWritten(section, list, entry) {
  const written = {};
  for (const [name, value] of Object.entries(entry)) {
    const part = resolved(entrySchema(section, list).properties[name]);
    if (value !== "" && value !== undefined && value !== part?.default) written[name] = value;
  }
  const names = Object.keys(written);
  const items = sectionSchema(section).properties[list].items;
  return items.oneOf && names.length === 1 && names[0] === entrySchema(section, list).required[0]
    ? written[names[0]]
    : written;
}

export function choicesOf(name) {
  return resolved(schema.properties[name] ?? schema.$defs[name]).enum;
}
