/* One row for each device and name that has times, over the gateway's day. The form and the grid draw the same span. */
import { useState } from "preact/hooks";
import { shortName } from "../devices.js";
import { EntryForm } from "../components/entry.js";
import { Button, Heading, Notice } from "../components/parts.js";
import { DayBar, hourText, SpanText } from "../components/span.js";
import { edit, settings } from "../draft.js";
import { filters, rowsOf } from "../filters.js";
import { clockTime, dayAndTime, gatewayNow, pieces, zoneName } from "../format.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { state, useSeconds } from "../store.js";
import { t } from "../words/words.js";

const HOURS = [...Array(24).keys()];
const KINDS = [
  { filter: "devices", key: "mac" },
  { filter: "names", key: "host" },
];

/* Rows of the same device or name together. */
function subjects() {
  const found = new Map();
  for (const { filter, key } of KINDS) {
    for (const row of rowsOf(filter, settings())) {
      if (row.entry.enabled === false) continue;
      const name = `${filter} ${row.entry[key].toLowerCase()}`;
      if (!found.has(name)) found.set(name, { filter, key, subject: row.entry[key], rows: [] });
      found.get(name).rows.push(row);
    }
  }
  return [...found.values()];
}

const isIn = (active, hour) =>
  pieces(active).some(([from, to]) => from < hour * 60 + 60 && to > hour * 60);

/* The span between two hours of the grid, whichever was chosen first. */
function spanOf(start, end) {
  const from = hourText(Math.min(start, end));
  return `${from}-${hourText(Math.max(start, end) + 1)}`;
}

function useDrawing(onDrawn) {
  const [at, setAt] = useState(0);
  const [start, setStart] = useState(null);
  const finish = (end) => {
    onDrawn(spanOf(start, end));
    setStart(null);
  };
  const choose = (hour) => {
    setAt(hour);
    if (start === null) setStart(hour);
    else finish(hour);
  };
  const keys = (event) => {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (step) setAt(Math.min(23, Math.max(0, at + step)));
    else if (event.key === "Home") setAt(0);
    else if (event.key === "End") setAt(23);
    else if (event.key === " " || event.key === "Enter") choose(at);
    else if (event.key === "Escape" && start !== null) setStart(null);
    else return;
    event.preventDefault();
  };
  const drawn = start === null ? null : spanOf(start, at);
  return { at, drawn, keys, choose, hover: (hour) => start !== null && setAt(hour) };
}

/* 24 cells: arrow keys move, Space begins and ends a span; by pointer one click begins it and another one ends it. */
function Grid({ subject, spans, onDrawn }) {
  const { at, drawn, keys, choose, hover } = useDrawing(onDrawn);
  return html`<div
    class="grid"
    role="grid"
    aria-label=${t("grid.of", { what: subject })}
    onKeyDown=${keys}
  >
    <${DayBar} spans=${spans} drawn=${drawn} />
    <div role="row">
      ${HOURS.map((hour) => {
        const isSet = spans.some((span) => isIn(span, hour));
        return html`<span
          role="gridcell"
          tabindex=${hour === at ? 0 : -1}
          ref=${(cell) => hour === at && cell && cell.parentNode.contains(document.activeElement) && cell.focus()}
          aria-selected=${isSet ? "true" : "false"}
          aria-label="${hourText(hour)} ${t(isSet ? "grid.set" : "grid.free")}"
          onClick=${() => choose(hour)}
          onPointerEnter=${() => hover(hour)}
        ></span>`;
      })}
    </div>
  </div>`;
}

function Subject({ filter, subject, rows, isOpen, open }) {
  const { list } = filters[filter];
  const [drawn, setDrawn] = useState(null);
  const name = filter === "devices" ? shortName(subject) : subject;
  const spans = rows.map((row) => row.entry.active ?? "all day");
  const sections = filters[filter].sections;
  const key = filter === "devices" ? "mac" : "host";
  const remove = (row) =>
    edit((all) => row.at.forEach(({ section, index }) => all[section][list].splice(index, 1)));
  const mode = settings()[sections[0]]?.mode ?? "black-list";
  const isOn = sections.some((one) => settings()[one]?.enabled);
  return html`<section class="subject" aria-labelledby="s-${filter}-${subject}">
    <h2 id="s-${filter}-${subject}">
      ${name}${" "}<small class="quiet"
        >${t(`filter.${filter}`)}, ${t(`grid.${mode}`)}${isOn ? "" : `, ${t("grid.off")}`}</small
      >
    </h2>
    <${Grid} subject=${name} spans=${spans} onDrawn=${(span) => (setDrawn(span), open())} />
    <ul class="spans">
      ${rows.map(
        (row) => html`<li key=${row.text}><${SpanText} active=${row.entry.active} />
      <${Button} kind="small" onClick=${() => remove(row)}
        aria-label=${t("remove_what", { what: `${name} ${row.entry.active ?? t("all_day")}` })}>
        ${t("remove")}</${Button}></li>`,
      )}
      <li>
        ${
          !isOpen &&
          html`<${Button} kind="small" onClick=${open}
          aria-label=${t("span.add_for", { what: name })}>${t("span.add")}</${Button}>`
        }
      </li>
    </ul>
    ${
      isOpen &&
      html`<${EntryForm}
        key=${drawn}
        filter=${filter}
        sections=${sections}
        preset=${{ [key]: subject, active: drawn ?? "21:30-06:30" }}
        onDone=${() => open(false)}
        onCancel=${() => open(false)}
        label=${t("span.add_for", { what: name })}
        focus
      />`
    }
  </section>`;
}

function ClockChange() {
  const change = state.loaded.status?.time_zone?.next_change;
  if (!change || change.at * 1000 - gatewayNow().getTime() > 2 * 86400000) return null;
  return html`<${Notice} kind="warn"><p>
    ${t("clock.tonight", { at: dayAndTime(new Date(change.at * 1000)), offset: change.utc_offset })}</p></${Notice}>`;
}

function Scale() {
  return html`<div class="scale" aria-hidden="true">
    ${[0, 6, 12, 18, 24].map((hour) => html`<span>${String(hour).padStart(2, "0")}</span>`)}
  </div>`;
}

export function Schedule() {
  useWanted("devices");
  useSeconds();
  const [opened, open] = useState(null);
  if (!settings()) {
    return html`<${Heading}>${t("page.schedule")}</${Heading}><p class="quiet">${t("loading")}</p>`;
  }
  const zone = `${zoneName()}${zoneName() === "UTC" ? "" : `, UTC${state.loaded.status?.time_zone?.utc_offset ?? "?"}`}`;
  const all = subjects();
  return html`<${Heading} aside=${html`<span class="quiet">
    ${t("schedule.now", { time: clockTime(gatewayNow()), zone })}</span
  >`}>${t("page.schedule")}
    </${Heading}>
    <p class="lead">${t("schedule.lead")}</p>
    <${ClockChange} />
    ${all.length === 0 && html`<p class="quiet">${t("no_entries")}</p>`}
    ${all.length > 0 && html`<${Scale} />`}
    ${all.map((one) => {
      const key = `${one.filter} ${one.subject}`;
      return html`<${Subject}
        key=${key}
        ...${one}
        isOpen=${opened === key}
        open=${(on = true) => open(on ? key : null)}
      />`;
    })}
    <section class="add" aria-labelledby="new-device"><h2 id="new-device">${t("schedule.device")}
      </h2>
      <${EntryForm} filter="devices" sections=${filters.devices.sections}
        preset=${{ active: "21:30-06:30" }} label=${t("schedule.device")} /></section>
    <section class="add" aria-labelledby="new-name"><h2 id="new-name">${t("schedule.name")}</h2>
      <${EntryForm} filter="names" sections=${filters.names.sections}
        preset=${{ active: "21:30-06:30" }} label=${t("schedule.name")} /></section>`;
}
