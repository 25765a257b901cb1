/* The time zone of the spans, tried against the gateway before the draft takes it. */
import { useState } from "preact/hooks";
import { Problem } from "../api.js";
import { tryEdit } from "../draft.js";
import { html } from "../html.js";
import { t } from "../words/words.js";
import { Field, ProblemNotice } from "./parts.js";

export function ZoneForm({ zone, onDone }) {
  const [value, setValue] = useState(zone || Intl.DateTimeFormat().resolvedOptions().timeZone);
  const [problem, fail] = useState(null);
  const send = async (event) => {
    event.preventDefault();
    try {
      await tryEdit((settings) => (settings.time_zone = value));
      onDone();
    } catch (caught) {
      if (!(caught instanceof Problem)) throw caught;
      fail(caught);
    }
  };
  const own = (problem?.errors ?? [])
    .filter((one) => one.path === "time_zone")
    .map((one) => one.message);
  return html`<form onSubmit=${send} noValidate>
    <${Field} label=${t("field.time_zone")} faults=${own} hint=${t("clock.hint")}>
      ${(control) =>
        html`<input
          ...${control}
          type="text"
          value=${value}
          spellcheck="false"
          onInput=${(event) => setValue(event.target.value)}
        />`}</${Field}>
    ${problem && own.length === 0 && html`<${ProblemNotice} problem=${problem} />`}
    <div class="actions"><button class="primary">${t("take_over")}</button><button type="button"
      class="plain" onClick=${onDone}>${t("cancel")}</button></div>
  </form>`;
}
