/* Why something is blocked: the verdict, the settings in order of evaluation, and the same with the draft applied. */
import { useEffect, useState } from "preact/hooks";
import { post } from "../api.js";
import { attempt } from "../change.js";
import { Outcome, SettingLink, titleOf } from "../components/device.js";
import { Field, Heading, ProblemNotice } from "../components/parts.js";
import { countChanges, settings } from "../draft.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { sectionWords } from "../setting.js";
import { state } from "../store.js";
import { t } from "../words/words.js";

function Verdict({ verdict, traffic, all }) {
  const step = (words, children) =>
    html`<li><span class="quiet">${words}</span>${" "}${children}</li>`;
  return html`<article class="verdict">
    <h3>
      ${traffic && html`<small class="quiet">${traffic}</small>`}${" "}<${Outcome}
        outcome=${verdict.outcome}
      />
    </h3>
    ${
      verdict.decided_by &&
      html`<p>${t("why.by")}${" "}<${SettingLink} path=${verdict.decided_by} settings=${all} /></p>`
    }
    <p lang="en">${verdict.reason}</p>
    <ol class="passed">
      ${verdict.passed.map(
        (one) =>
          html`<li>
            <strong>${sectionWords(one.setting.split(/[.[]/)[0])} </strong>${" "}<span
              class="quiet"
              lang="en"
              >${one.what}</span
            >
          </li>`,
      )}
      ${
        verdict.decided_by &&
        step(
          t("why.stopped"),
          html`<strong> ${sectionWords(verdict.decided_by.split(/[.[]/)[0])}</strong>`,
        )
      }
    </ol>
  </article>`;
}

function Day({ day }) {
  return html`<article class="verdict">
    <h3>
      <small class="quiet">${day.traffic}</small>${" "}${t("why.day", { zone: day.time_zone })}
    </h3>
    <ol class="passed">
      ${day.periods.map(
        (one) =>
          html`<li>
            ${one.from}–${one.to}${" "}<${Outcome} outcome=${one.outcome} />${" "}${
              one.decided_by && html`<${SettingLink} path=${one.decided_by} />`
            }
          </li>`,
      )}
    </ol>
  </article>`;
}

function Answer({ title, answer, all, children }) {
  const id = `answer-${title.length}`;
  return html`<section class="panel" aria-labelledby=${id}>
    <h2 id=${id}>${title}</h2>
    ${(answer.packets ?? [answer]).map(
      (one) => html`<${Verdict} verdict=${one} traffic=${one.traffic} all=${all} />`,
    )}
    ${(answer.day ?? []).map((one) => html`<${Day} day=${one} />`)}
    ${(answer.notes ?? []).map((note) => html`<p class="quiet" lang="en">${note}</p>`)} ${children}
  </section>`;
}

export function Why({ at }) {
  useWanted("devices");
  const known = state.loaded.devices?.devices ?? [];
  const [device, setDevice] = useState(at.query.get("device") ?? "");
  const [destination, setDestination] = useState(at.query.get("to") ?? "");
  const [answers, setAnswers] = useState(null);
  const [problem, fail] = useState(null);
  const ask = () =>
    attempt(async () => {
      setAnswers(null);
      const question = {
        device: device.trim(),
        ...(destination.trim() && { destination: destination.trim() }),
      };
      const now = (await post("explain", question)).body;
      const then = state.draft
        ? (await post("explain", { ...question, settings: settings() })).body
        : null;
      setAnswers({ now, then });
    }, fail);
  const send = (event) => {
    event.preventDefault();
    ask();
  };
  // From a device's row the question is complete.
  useEffect(() => void (device && ask()), []);
  const text = (value, onInput, attributes) => (control) =>
    html`<input
      ...${control}
      ...${attributes}
      type="text"
      value=${value}
      autocomplete="off"
      spellcheck="false"
      autocapitalize="off"
      onInput=${(event) => onInput(event.target.value)}
    />`;
  return html`<${Heading}>${t("page.why")}</${Heading}>
    <p class="lead">${t("why.lead")}</p>
    <form class="panel" onSubmit=${send} noValidate><div class="fields">
      <${Field} label=${t("field.mac")} hint=${t("why.device_hint")}>
        ${text(device, setDevice, { list: "known-devices" })}</${Field}>
      <${Field} label=${t("field.destination")} hint=${t("why.destination_hint")}>
        ${text(destination, setDestination, { placeholder: "www.example.com:443" })}</${Field}>
      <div class="actions"><button class="primary">${t("why.ask")}</button></div></div>
      <datalist id="known-devices">${known.map(
        (one) => html`<option value=${one.mac}>${titleOf(one)}</option>`,
      )}</datalist>
      <${ProblemNotice} problem=${problem} /></form>
    <div role="status" class="panels even">
      ${
        answers &&
        html`<${Answer} title=${t("why.now")} answer=${answers.now} all=${state.loaded.settings} />`
      }
      ${
        answers?.then &&
        html`<${Answer} title=${t("why.with_draft", { n: countChanges() })} answer=${answers.then}
          all=${settings()}>
        <p><a href="#/review">${t("review", { n: countChanges() })}</a></p></${Answer}>`
      }
    </div>`;
}
