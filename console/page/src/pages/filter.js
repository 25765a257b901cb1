/* A filter: its switch and modes, its entries with live hits, and a form for another one. */
import { useState } from "preact/hooks";
import { Button, Heading, Notice, Switch, Table } from "../components/parts.js";
import { EntryForm, wordOf } from "../components/entry.js";
import { SpanText } from "../components/span.js";
import { edit, settings } from "../draft.js";
import { families, filters, pathsOf, rowsOf } from "../filters.js";
import { number } from "../format.js";
import { html } from "../html.js";
import { hitsOf } from "../live.js";
import { asObject, choicesOf, fieldsOf, mostEntries } from "../schema.js";
import { state } from "../store.js";
import { has, t } from "../words/words.js";
import { nameOfMac, shortName } from "../devices.js";
import { useWanted } from "../live.js";

function valueOf(field, entry) {
  const value = entry[field.name];
  if (field.ref === "active") return html`<${SpanText} active=${value} />`;
  if (field.name === "mac") return nameOfMac(value);
  return value === undefined
    ? html`<span class="quiet">${wordOf(field.default)}</span>`
    : wordOf(value);
}

/* Which fields are worth a column: those that some entry sets. */
function columnsOf(filter, rows) {
  const { sections, list } = filters[filter];
  return fieldsOf(sections[0], list).filter(
    (field) =>
      field.name !== "enabled" &&
      (field.required ||
        rows.some((row) => asObject(sections[0], list, row.entry)[field.name] !== undefined)),
  );
}

function move(list, at, by) {
  edit((changed) => {
    for (const { section, index } of at) {
      const entries = changed[section][list];
      [entries[index], entries[index + by]] = [entries[index + by], entries[index]];
    }
  });
}

function remove(list, at) {
  edit((changed) => {
    for (const { section, index } of at) changed[section][list].splice(index, 1);
  });
}

function Actions({ filter, row, onEdit, name }) {
  const { list, ordered } = filters[filter];
  const { section, index } = row.at[0];
  const last = settings()[section][list].length - 1;
  return html`<span class="actions">
    <${Button} kind="small" onClick=${onEdit} aria-label=${t("edit_what", { what: name })}>
      ${t("edit")}</${Button}>
    <${Button} kind="small" onClick=${() => remove(list, row.at)}
      aria-label=${t("remove_what", { what: name })}>${t("remove")}</${Button}>
    ${
      ordered &&
      html`<${Button} kind="small icon" disabled=${index === 0}
        onClick=${() => move(list, row.at, -1)}
        aria-label=${t("up_what", { what: name })}>↑</${Button}>
      <${Button} kind="small icon" disabled=${index === last}
        onClick=${() => move(list, row.at, 1)}
        aria-label=${t("down_what", { what: name })}>↓</${Button}>`
    }
  </span>`;
}

/* Hits are counted for what is stored: an entry of the draft is found there by what it says. */
function hitsOfRow(filter, row, storedRows) {
  const stored = storedRows.find(
    (one) => one.text === row.text && one.at[0].section === row.at[0].section,
  );
  return stored ? hitsOf(pathsOf(filter, stored)) : null;
}

export function Entries({ filter }) {
  const [edited, setEdited] = useState(null);
  const { sections, list } = filters[filter];
  const rows = rowsOf(filter, settings());
  const storedRows = rowsOf(filter, state.loaded.settings);
  const fields = columnsOf(filter, rows);
  const hasFamilies = sections.length > 1;
  const columns = [
    ...(hasFamilies ? [{ label: t("family") }] : []),
    ...fields.map((field) => ({ label: t(`field.${field.name}`) })),
    { label: t("hits"), kind: "number" },
    { label: t("actions"), kind: "last" },
  ];
  const tableRows = rows.map((row) => {
    const key = row.at.map(({ section, index }) => `${section}${index}`).join();
    const entry = asObject(sections[0], list, row.entry);
    if (edited === key) {
      const done = () => setEdited(null);
      const own = row.at.map(({ section }) => section);
      return {
        key,
        kind: "edited",
        wide: html`<${EntryForm}
          filter=${filter}
          sections=${own}
          at=${row.at}
          entry=${row.entry}
          onDone=${done}
          onCancel=${done}
          label=${t("edit")}
        />`,
      };
    }
    const hits = hitsOfRow(filter, row, storedRows);
    const name = fields
      .filter((field) => field.ref !== "active")
      .map((field) => (field.name === "mac" ? shortName(entry.mac) : wordOf(entry[field.name])))
      .filter(Boolean)
      .join(" ");
    const rest = entry.enabled === false ? html`<small class="tag">${t("rests")}</small>` : null;
    const cells = fields.map((field, i) => html`${valueOf(field, entry)} ${i === 0 && rest}`);
    if (hasFamilies) cells.unshift(row.at.map(({ section }) => families[section]).join(", "));
    cells.push(hits === null ? html`<small class="tag">${t("draft_entry")}</small>` : number(hits));
    cells.push(
      html`<${Actions} filter=${filter} row=${row} name=${name} onEdit=${() => setEdited(key)} />`,
    );
    return { key, cells, kind: hits === null ? "new" : "" };
  });
  return html`<${Table}
    caption=${html`<span class="hidden">${t(`filter.${filter}`)}</span>`}
    columns=${columns}
    rows=${tableRows}
    empty=${t("no_entries")}
  />`;
}

/* What a list mode or a switch is about to do, where the draft has it otherwise than the gateway. */
function Warning({ filter, sections }) {
  const isWhite = (all) =>
    sections.some(
      (one) =>
        all[one]?.enabled && filters[filter].modes.some((mode) => all[one][mode] === "white-list"),
    );
  const isOn = (all) => sections.some((one) => all[one]?.enabled);
  const [old, now] = [state.loaded.settings, settings()];
  if (isWhite(now) && !isWhite(old)) {
    return html`<${Notice} kind="warn"><p>${cutOff(filter)}</p></${Notice}>`;
  }
  if (filter === "access" && isOn(now) && !isOn(old)) {
    return html`<${Notice} kind="warn"><p>${t("cut.access")}</p></${Notice}>`;
  }
  return null;
}

function cutOff(filter) {
  const words = filter === "devices" ? "cut.devices_all" : `cut.${filter}`;
  const seen = state.loaded.devices?.devices;
  if (!seen) return t(words);
  const listed = rowsOf(filter, settings()).map((row) => JSON.stringify(row.entry).toLowerCase());
  const isListed = (device) =>
    listed.some(
      (text) =>
        text.includes(device.mac) ||
        (device.given_name && text.includes(device.given_name.toLowerCase())),
    );
  const byDevice = filter === "devices" || filter === "addresses";
  return `${t(words)} ${t("cut.devices", { n: byDevice ? seen.filter((one) => !isListed(one)).length : seen.length })}`;
}

function Controls({ filter }) {
  const { sections, modes } = filters[filter];
  const all = settings();
  const set = (name, value) =>
    edit((changed) =>
      sections.forEach(
        (one) => (changed[one] = { enabled: false, ...changed[one], [name]: value }),
      ),
    );
  return html`<div class="controls">
    <${Switch}
      label=${t("filter.on", { what: t(`filter.${filter}`) })}
      on=${sections.some((one) => all[one]?.enabled)}
      onChange=${(on) => set("enabled", on)}
    />
    ${modes.map(
      (mode) =>
        html`<label class="inline"
          >${t(`field.${mode}`)}
          <select
            value=${all[sections[0]]?.[mode] ?? choicesOf("mode")[0]}
            onChange=${(event) => set(mode, event.target.value)}
          >
            ${choicesOf("mode").map(
              (one) => html`<option value=${one}>${t(`mode.${one}`)}</option>`,
            )}
          </select></label
        >`,
    )}
  </div>`;
}

function Adding({ filter }) {
  const { sections, list, together } = filters[filter];
  const [family, setFamily] = useState("both");
  const chosen = family === "both" ? (together ? sections : [sections[0]]) : [family];
  const all = settings();
  const full = chosen.find((one) => (all[one]?.[list]?.length ?? 0) >= mostEntries(one, list));
  return html`<section class="add" aria-labelledby="adding">
    <h2 id="adding">${t("add_entry")}</h2>
    ${
      sections.length > 1 &&
      html`<label class="inline"
        >${t("family")}
        <select
          value=${family === "both" && !together ? sections[0] : family}
          onChange=${(event) => setFamily(event.target.value)}
        >
          ${together && html`<option value="both">${t("both")}</option>`}
          ${sections.map((one) => html`<option value=${one}>${families[one]}</option>`)}
        </select></label
      >`
    }
    ${
      full
        ? html`<p class="quiet">${t("list_full", { n: mostEntries(full, list) })}</p>`
        : html`<${EntryForm}
            key=${chosen.join()}
            filter=${filter}
            sections=${chosen}
            label=${t("add_entry")}
          />`
    }
  </section>`;
}

export function Filter({ at }) {
  const filter = filters[at.steps[1]] ? at.steps[1] : "traffic";
  useWanted("devices");
  if (!settings()) {
    return html`<${Heading}>${t(`filter.${filter}`)}</${Heading}><p class="quiet">${t("loading")}
      </p>`;
  }
  const expert = has(`expert.${filter}`)
    ? html`<small class="quiet">${t(`expert.${filter}`)}</small>`
    : null;
  return html`<${Heading} aside=${expert}>${t(`filter.${filter}`)}</${Heading}>
    <p class="lead">${t(`sees.${filter}`)}</p>
    <${Controls} filter=${filter} />
    <${Warning} filter=${filter} sections=${filters[filter].sections} />
    <${Entries} filter=${filter} />
    <${Adding} filter=${filter} />`;
}
