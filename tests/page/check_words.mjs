/* Compares the words of all languages, with their values in braces, and looks for words that are missing or unused.   check_words.mjs SRC */
import { readdirSync, readFileSync, statSync } from "node:fs";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

const root = resolve(process.argv[2]);
const files = (folder) =>
  readdirSync(folder).flatMap((name) => {
    const path = join(folder, name);
    return statSync(path).isDirectory() ? files(path) : [path];
  });
const words = async (language) =>
  (await import(pathToFileURL(join(root, `words/${language}.js`)))).default;
const [en, de] = [await words("en"), await words("de")];
const source = files(root)
  .filter((path) => !/words\/(en|de)\.js$/.test(path))
  .map((path) => readFileSync(path, "utf8"))
  .join("\n");
const faults = [];
const values = (text) => (text.match(/\{\w+\}/g) ?? []).sort().join();

for (const name of new Set([...Object.keys(en), ...Object.keys(de)])) {
  if (!(name in en) || !(name in de)) faults.push(`${name} is in one language alone`);
  else if (values(en[name]) !== values(de[name]))
    faults.push(`${name} has other values in each language`);
}
const said = new Set([...source.matchAll(/"([a-z_.-]+)"/g)].map((match) => match[1]));
const begun = [...source.matchAll(/`([a-z_]+\.)\$\{/g)].map((match) => match[1]);
for (const name of Object.keys(en)) {
  const plain = name.replace(/_one$/, "");
  if (
    !said.has(plain) &&
    !begun.some((start) => plain.startsWith(start)) &&
    !/^outcome\./.test(plain)
  )
    faults.push(`${name} is not used`);
}
for (const [, name] of source.matchAll(/\bt\("([^"]+)"/g))
  if (!(name in en)) faults.push(`${name} has no text`);
for (const fault of faults) console.error(fault);
process.exit(faults.length ? 1 : 0);
