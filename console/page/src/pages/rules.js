/* The chains as they stand in the kernel, each rule with its setting and live counters. */
import { useState } from "preact/hooks";
import { Heading, Notice, ProblemNotice } from "../components/parts.js";
import { pageOfPath } from "../filters.js";
import { number } from "../format.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { settingWords } from "../setting.js";
import { state } from "../store.js";
import { t } from "../words/words.js";

const MARKS = { extra: "+", missing: "−", moved: "↕", foreign: "○", "not stored": "○" };

function packetsOf(family, chain, rule, index) {
  return (
    state.counters.get(`${rule.origin?.path ?? ""} ${family} ${chain.name} ${index + 1}`) ??
    rule.packets
  );
}

function Rule({ family, chain, rule, index, children }) {
  const path = rule.origin?.path;
  const isDrift = ["extra", "missing", "moved"].includes(rule.state);
  return html`<li class="rule ${isDrift ? "drift" : ""}">
    <div class="line">
      <code>${rule.words}</code>
      ${
        path &&
        /[.[_]/.test(path) &&
        html`<a href="#/${pageOfPath(path)}">${settingWords(path)} </a>`
      }
      ${
        MARKS[rule.state] &&
        html`<small class="tag"> ${MARKS[rule.state]} ${t(`rule.${rule.state}`)}</small>`
      }
      <span class="count" title=${t("packets")}
        >${number(packetsOf(family, chain, rule, index))}<span class="hidden">
          ${t("packets")}</span
        ></span
      >
    </div>
    ${children}
  </li>`;
}

/* A chain that several rules jump to stands below the first of them. */
function Chain({ table, name, shown }) {
  const chain = table.chains.find((one) => one.name === name);
  if (!chain) return null;
  if (shown.has(name)) return html`<p class="quiet">${t("rules.above")}</p>`;
  shown.add(name);
  return html`<ol>
    ${chain.rules.map(
      (
        rule,
        index,
      ) => html`<${Rule} family=${table.family} chain=${chain} rule=${rule} index=${index}>
    <${Chain} table=${table} name=${rule.target} shown=${shown} /></${Rule}>`,
    )}
  </ol>`;
}

export function Rules() {
  useWanted("rules", "devices");
  const [family, setFamily] = useState("IPv4");
  const { rules } = state.loaded;
  const table = rules?.tables.find((one) => one.family === family);
  return html`<${Heading}>${t("page.rules")}</${Heading}>
    <p class="lead">${t("rules.lead")}</p>
    <${ProblemNotice} problem=${state.failed.rules} />
    ${
      rules?.drift.length > 0 &&
      html`<${Notice} kind="warn"><p>
      ${t("rules.drift", { n: rules.drift.length })}</p></${Notice}>`
    }
    <fieldset class="choice"><legend>${t("family")}</legend>${["IPv4", "IPv6"].map(
      (one) =>
        html`<label>
          <input
            type="radio"
            name="family"
            checked=${family === one}
            onChange=${() => setFamily(one)}
          />${" "}${one}</label
        >`,
    )}</fieldset>
    ${table?.chains
      .filter((chain) => chain.policy)
      .map(
        (chain) =>
          html`<section class="chain" key=${chain.name}>
            <h2>${chain.name}${" "}<small class="quiet">${t(`chain.${chain.name}`)}</small></h2>
            ${
              chain.rules.length
                ? html`<${Chain} table=${table} name=${chain.name} shown=${new Set()} />`
                : html`<p class="quiet">${t("rules.none")}</p>`
            }
            <p class="quiet">${t("rules.policy", { policy: chain.policy })}</p>
          </section>`,
      )}
    ${rules?.notes.map((note) => html`<p class="quiet" lang="en">${note}</p>`)}`;
}
