/* The form of one entry of a list. Its fields come from the schema, its faults from the gateway. */
import { useEffect, useRef, useState } from "preact/hooks";
import { Problem } from "../api.js";
import { tryEdit } from "../draft.js";
import { filters } from "../filters.js";
import { html } from "../html.js";
import { asObject, asWritten, fieldsOf } from "../schema.js";
import { state } from "../store.js";
import { has, t } from "../words/words.js";
import { Field, ProblemNotice } from "./parts.js";
import { SpanField } from "./span.js";

/* Names and addresses that a field may suggest. */
function suggestions(name) {
  const devices = state.loaded.devices?.devices ?? [];
  if (name === "mac") return devices.map((one) => [one.mac, one.name ?? one.ipv4[0] ?? ""]);
  if (name === "source" || name === "sources") {
    return devices.flatMap((one) => one.ipv4.map((address) => [address, one.name ?? one.mac]));
  }
  return [];
}

function TextField({ control, field, value, onChange }) {
  const known = suggestions(field.name);
  return html`<input
      ...${control}
      type="text"
      value=${value ?? ""}
      placeholder=${field.default ?? ""}
      autocomplete="off"
      spellcheck="false"
      autocapitalize="off"
      list=${known.length ? `${control.id}-known` : undefined}
      onInput=${(event) => onChange(event.target.value)}
    />
    ${
      known.length > 0 &&
      html`<datalist id="${control.id}-known">
        ${known.map(([text, label]) => html`<option value=${text}>${label}</option>`)}
      </datalist>`
    }`;
}

export const wordOf = (value) => (has(`word.${value}`) ? t(`word.${value}`) : value);

function controlOf(field, value, onChange) {
  const label = t(`field.${field.name}`);
  return (attributes) => {
    if (field.ref === "active") {
      return html`<${SpanField}
        control=${attributes}
        value=${value ?? field.default}
        onChange=${onChange}
        label=${label}
      />`;
    }
    if (field.type === "boolean") {
      return html`<input
        ...${attributes}
        type="checkbox"
        checked=${value ?? field.default}
        onChange=${(event) => onChange(event.target.checked)}
      />`;
    }
    if (field.enum) {
      return html`<select
        ...${attributes}
        value=${value}
        onChange=${(event) => onChange(event.target.value)}
      >
        ${field.enum.map((one) => html`<option value=${one}>${wordOf(one)}</option>`)}
      </select>`;
    }
    return html`<${TextField}
      control=${attributes}
      field=${field}
      value=${value}
      onChange=${onChange}
    />`;
  };
}

function beginning(section, list, entry, preset) {
  if (entry !== undefined) return { ...asObject(section, list, entry) };
  const chosen = fieldsOf(section, list)
    .filter((one) => one.enum && one.required)
    .map((one) => [one.name, one.enum[0]]);
  return { ...Object.fromEntries(chosen), ...preset };
}

/* The places at which an entry is put: those it has, or the end of each list. */
function places(sections, list, at, settings) {
  return sections.map((section) => {
    const own = at?.find((place) => place.section === section);
    return { section, index: own ? own.index : (settings[section]?.[list]?.length ?? 0) };
  });
}

function faultsBy(problem, spots, list) {
  const faults = { general: [] };
  for (const { path, message } of problem?.errors ?? []) {
    const spot = spots.find(({ section, index }) =>
      path?.startsWith(`${section}.${list}[${index}]`),
    );
    const name = spot
      ? path.slice(`${spot.section}.${list}[${spot.index}]`.length).replace(/^\./, "")
      : null;
    if (name === null) faults.general.push({ path, message });
    else if (!faults[name]?.includes(message)) (faults[name] ??= []).push(message);
  }
  return faults;
}

function put(settings, list, found, value, switchOn) {
  for (const { section, index } of found) {
    (settings[section] ??= { enabled: false })[list] ??= [];
    settings[section][list][index] = asWritten(section, list, value);
    if (switchOn) settings[section].enabled = true;
  }
}

/* `at`: the places of the entry that is edited; without it a new one is made. `switchOn`: its filters too. */
export function EntryForm({
  filter,
  sections,
  at,
  entry,
  preset,
  onDone,
  onCancel,
  label,
  focus,
  switchOn,
}) {
  const { list } = filters[filter];
  const [value, setValue] = useState(() => beginning(sections[0], list, entry, preset));
  const [problem, fail] = useState(null);
  const [spots, setSpots] = useState([]);
  const [isBusy, setBusy] = useState(false);
  const form = useRef();
  useEffect(() => {
    if (at || focus) form.current.querySelector("input, select").focus();
  }, []);
  useEffect(() => form.current?.querySelector("[aria-invalid]")?.focus(), [problem]);
  const fields = fieldsOf(sections[0], list);

  const send = async (event) => {
    event.preventDefault();
    setBusy(true);
    fail(null);
    try {
      await tryEdit((settings) => {
        const found = places(sections, list, at, settings);
        setSpots(found);
        put(settings, list, found, value, switchOn);
      });
      if (!at) setValue(beginning(sections[0], list, undefined, preset));
      onDone?.();
    } catch (caught) {
      if (!(caught instanceof Problem)) throw caught;
      fail(caught);
    } finally {
      setBusy(false);
    }
  };

  const faults = faultsBy(problem, spots, list);
  // An entry that is a plain text has its fault at the entry itself.
  const own = (field) => [
    ...(faults[field.name] ?? []),
    ...(field.required && !field.enum ? (faults[""] ?? []) : []),
  ];
  const rest = problem && (problem.code !== "settings_invalid" || faults.general.length > 0);
  return html`<form class="entry" ref=${form} onSubmit=${send} aria-label=${label} novalidate>
    <div class="fields">
      ${fields.map(
        (field) => html`<${Field} key=${field.name} label=${t(`field.${field.name}`)}
          faults=${own(field)}>
        ${controlOf(field, value[field.name], (next) => setValue({ ...value, [field.name]: next }))}</${Field}>`,
      )}
      <div class="actions">
        <button class="primary" aria-busy=${isBusy ? "true" : undefined}>
          ${at ? t("take_over") : t("add")}
        </button>
        ${
          onCancel &&
          html`<button type="button" class="plain" onClick=${onCancel}>${t("cancel")}</button>`
        }
      </div>
    </div>
    ${rest && html`<${ProblemNotice} problem=${{ ...problem, errors: faults.general }} />`}
  </form>`;
}
