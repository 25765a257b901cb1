/* What the draft would change, in words, and its apply. */
import { useEffect, useState } from "preact/hooks";
import { get, post, Problem } from "../api.js";
import { apply, attempt } from "../change.js";
import { Button, Heading, Notice, ProblemNotice } from "../components/parts.js";
import { wordOf } from "../components/entry.js";
import { countChanges, discard, isStale } from "../draft.js";
import { families, filterOfSection, filters } from "../filters.js";
import { html } from "../html.js";
import { go } from "../router.js";
import { entryWords, sectionWords } from "../setting.js";
import { state } from "../store.js";
import { has, t } from "../words/words.js";

const SIGNS = { add: "+", remove: "−", change: "~" };

function plain(value) {
  if (typeof value === "boolean") return t(value ? "on" : "off");
  return value === null || value === undefined ? t("nothing") : has(`mode.${value}`) ? t(`mode.${value}`) : wordOf(value);
}

/* An entry as a whole, where a difference is within one or is one. */
function entryAt(settings, path) {
  const [, section, list, index] = /^(\w+)\.(\w+)\[(\d+)\]/.exec(path) ?? [];
  return section && filterOfSection(section) && filters[filterOfSection(section)].list === list
    ? { section, key: `${section}.${list}[${index}]`, entry: settings[section]?.[list]?.[index] }
    : null;
}

/* The plan's differences, those of one entry together. */
function differences(fields) {
  const seen = new Map();
  for (const { path, old, new: now } of fields) {
    const before = entryAt(state.draft.base, path);
    const after = entryAt(state.draft.settings, path);
    const section = path.split(/[.[]/)[0];
    const family = families[section] ? ` ${families[section]}` : "";
    const label = `${sectionWords(section)}${family}`;
    if (!before) {
      const field = path.split(".")[1];
      const words = `${field && has(`field.${field}`) ? t(`field.${field}`) : ""} ${plain(old)} → ${plain(now)}`;
      seen.set(path, { kind: "change", label, words });
    } else {
      const was = before.entry === undefined ? null : entryWords(section, before.entry);
      const is = after.entry === undefined ? null : entryWords(section, after.entry);
      const kind = was === null ? "add" : is === null ? "remove" : "change";
      seen.set(before.key, { kind, label, words: kind === "change" ? `${was} → ${is}` : (is ?? was) });
    }
  }
  return [...seen.values()];
}

/* Chains that packets to the gateway itself can reach, as the rules say: who changes them may cut this page off. */
function chainsToGateway(rules) {
  const reached = new Set();
  for (const { chains } of rules.tables) {
    const visit = (name) => {
      const chain = chains.find((one) => one.name === name);
      if (!chain || reached.has(name)) return;
      reached.add(name);
      chain.rules.forEach((rule) => visit(rule.target));
    };
    visit("INPUT");
  }
  return reached;
}

function canCutOff(plan, rules) {
  if (!rules) return true;
  const reached = chainsToGateway(rules);
  const lines = plan.steps.map((step) => step.line ?? "").concat(plan.rules.map((one) => one.chain));
  return lines.some((line) => line.split(/[ :]/).some((word) => reached.has(word)));
}

function Rules({ plan }) {
  const [isOpen, open] = useState(false);
  const sum = (name) => plan.rules.reduce((all, one) => all + one[name], 0);
  return html`<p>${t("review.rules", { kept: sum("kept"), added: sum("added"), removed: sum("removed") })}
      ${" "}<button type="button" class="small" aria-expanded=${isOpen ? "true" : "false"} onClick=${() => open(!isOpen)}>${t("review.show")}</button></p>
    ${isOpen && html`<div class="steps" tabindex="0" role="group" aria-label=${t("review.show")}><ol lang="en">
      ${plan.steps.map((step) => html`<li><code>${step.line ?? step.call}</code></li>`)}</ol></div>`}`;
}

function Applying({ plan, rules }) {
  const risky = canCutOff(plan, rules);
  const [isSafe, setSafe] = useState(risky);
  const [seconds, setSeconds] = useState(60);
  const [problem, fail] = useState(null);
  const send = async (event) => {
    event.preventDefault();
    if (await attempt(() => apply(isSafe ? seconds : 0), fail)) go("overview");
  };
  return html`<form class="applying" onSubmit=${send} noValidate>
    ${risky && html`<${Notice} kind="warn"><p>${t("review.risky")}</p></${Notice}>`}
    <label class="check"><input type="checkbox" checked=${isSafe} onChange=${(event) => setSafe(event.target.checked)} /> ${t("review.unless")}</label>
    ${isSafe && html`<label class="inline">${t("review.within")} <input type="number" min="1" value=${seconds} onInput=${(event) => setSeconds(event.target.value)} /> s</label>`}
    <${ProblemNotice} problem=${problem} />
    <div class="actions">
      <${Button} onClick=${() => (discard(), go("overview"))}>${t("discard")}</${Button}>
      <button class="primary" disabled=${isStale()}>${t("apply")}</button>
    </div>
  </form>`;
}

export function Review() {
  const [plan, setPlan] = useState(null);
  const [rules, setRules] = useState(null);
  const [problem, fail] = useState(null);
  const { draft, etag } = state;
  useEffect(() => {
    if (!draft) return;
    fail(null);
    Promise.all([post("plan", draft.settings), get("rules")]).then(
      ([answer, live]) => (setPlan(answer.body), setRules(live.body)),
      (caught) => {
        if (!(caught instanceof Problem)) throw caught;
        fail(caught);
      },
    );
  }, [draft, etag, state.session]);
  if (!draft) return html`<${Heading}>${t("review.title")}</${Heading}><p>${t("review.none")}</p>`;
  return html`<${Heading}>${t("review", { n: countChanges() })}</${Heading}>
    <${ProblemNotice} problem=${problem} />
    ${plan && html`<ul class="differences">${differences(plan.fields).map(({ kind, label, words }) => html`<li class=${kind}>
        <span class="sign" aria-hidden="true">${SIGNS[kind]}</span><span class="hidden">${t(`sign.${kind}`)}</span>
        <strong>${label}</strong> ${words}</li>`)}</ul>
      <${Rules} plan=${plan} />
      <${Applying} plan=${plan} rules=${rules} />`}`;
}
