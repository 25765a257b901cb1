/* What the draft would change, in words, and its apply. */
import { useEffect, useState } from "preact/hooks";
import { get, post, Problem } from "../api.js";
import { apply, attempt } from "../change.js";
import { Button, Heading, Notice, ProblemNotice } from "../components/parts.js";
import { plain } from "../components/plain.js";
import { countChanges, discard, isStale, without } from "../draft.js";
import { families, filterOfSection, filters } from "../filters.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { go } from "../router.js";
import { entryWords, sectionWords } from "../setting.js";
import { state } from "../store.js";
import { has, t } from "../words/words.js";

const SIGNS = { add: "+", remove: "−", change: "~" };

/* What of a list is gone, new, or there in another form, in words. */
function ofList(section, old, now) {
  const label = `${sectionWords(section)}${families[section] ? ` ${families[section]}` : ""}`;
  const removed = without(old, now);
  const added = without(now, old);
  const rows = [];
  for (let i = 0; i < Math.max(removed.length, added.length); ++i) {
    const [was, is] = [removed[i], added[i]].map((entry) => entry && entryWords(section, entry));
    const kind = was === undefined ? "add" : is === undefined ? "remove" : "change";
    rows.push({ kind, label, words: kind === "change" ? `${was} → ${is}` : (is ?? was) });
  }
  return rows.length ? rows : [{ kind: "change", label, words: t("review.order") }];
}

/* The plan's differences; those within a list by its entries, for its places shift. What both address families have alike is
 * said once. */
function differences(fields) {
  const seen = new Map();
  const add = (row) => {
    const label = row.label.replace(/ IPv[46]$/, "");
    const key = `${row.kind} ${label} ${row.words}`;
    seen.set(key, seen.has(key) ? { ...row, label } : row);
  };
  const lists = new Set();
  for (const { path, old, new: now } of fields) {
    const section = path.split(/[.[]/)[0];
    const filter = filterOfSection(section);
    const name = path.slice(section.length + 1).split(/[.[]/)[0];
    if (filter && filters[filter].list === name) {
      lists.add(section);
    } else {
      const label = `${sectionWords(section)}${families[section] ? ` ${families[section]}` : ""}`;
      add({
        kind: "change",
        label,
        words: `${name && has(`field.${name}`) ? `${t(`field.${name}`)}: ` : ""}${plain(old)} → ${plain(now)}`,
      });
    }
  }
  const { base, settings } = state.draft;
  for (const section of lists) {
    const { list } = filters[filterOfSection(section)];
    ofList(section, base[section]?.[list] ?? [], settings[section]?.[list] ?? []).forEach(add);
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
  if (plan.rules.length) {
    return plan.rules.some((one) => one.added + one.removed > 0 && reached.has(one.chain));
  }
  // The kernel's rules could not be compared: the steps name the chains that are filled anew.
  return plan.steps.some((step) => (step.line ?? "").split(" ").some((word) => reached.has(word)));
}

function Rules({ plan }) {
  const [isOpen, open] = useState(false);
  const sum = (name) => plan.rules.reduce((all, one) => all + one[name], 0);
  return html`<p>
      ${t("review.rules", { kept: sum("kept"), added: sum("added"), removed: sum("removed") })}
      ${" "}<button
        type="button"
        class="small"
        aria-expanded=${isOpen ? "true" : "false"}
        onClick=${() => open(!isOpen)}
      >
        ${t("review.show")}
      </button>
    </p>
    ${
      isOpen &&
      html`<div class="steps" tabindex="0" role="group" aria-label=${t("review.show")}>
        <ol lang="en">
          ${plan.steps.map((step) => html`<li><code>${step.line ?? step.call}</code></li>`)}
        </ol>
      </div>`
    }`;
}

function Applying({ plan, rules }) {
  const risky = canCutOff(plan, rules);
  const [isSafe, setSafe] = useState(risky);
  const [seconds, setSeconds] = useState(60);
  const [problem, fail] = useState(null);
  const send = async (event) => {
    event.preventDefault();
    if (!(await attempt(() => apply(isSafe ? seconds : 0), fail))) return;
    go("overview");
  };
  return html`<form class="applying" onSubmit=${send} noValidate>
    ${risky && html`<${Notice} kind="warn"><p>${t("review.risky")}</p></${Notice}>`}
    <label class="check"><input type="checkbox" checked=${isSafe}
      onChange=${(event) => setSafe(event.target.checked)} />${" "}${t("review.unless")}</label>
    ${
      isSafe &&
      html`<label class="inline"
        >${t("review.within")}${" "}<input
          type="number"
          min="1"
          value=${seconds}
          onInput=${(event) => setSeconds(event.target.value)}
        />${" "}s</label
      >`
    }
    <${ProblemNotice} problem=${problem} />
    <div class="actions">
      <${Button} onClick=${() => (discard(), go("overview"))}>${t("discard")}</${Button}>
      <button class="primary" disabled=${isStale()}>${t("apply")}</button>
    </div>
  </form>`;
}

export function Review() {
  useWanted("devices");
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
    ${
      plan &&
      html`<ul class="differences">
          ${differences(plan.fields).map(
            ({ kind, label, words }) =>
              html`<li class=${kind}>
                <span class="sign" aria-hidden="true">${SIGNS[kind]}</span
                ><span class="hidden">${t(`sign.${kind}`)}</span>
                <strong>${label}</strong>${" "}${words}
              </li>`,
          )}
        </ul>
        <${Rules} plan=${plan} />
        <${Applying} plan=${plan} rules=${rules} />`
    }`;
}
