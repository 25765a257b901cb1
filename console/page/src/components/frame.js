/* What surrounds every page: head, navigation, the pending change, the draft. */
import { useEffect, useState } from "preact/hooks";
import { isStale, countChanges, discard, rebase, stored } from "../draft.js";
import { attempt, keep, more, undo } from "../change.js";
import { ago, clockTime, countdown, gatewayNow, zoneName } from "../format.js";
import { html } from "../html.js";
import { logOut } from "../api.js";
import { kept, state, update, useSeconds } from "../store.js";
import { language, languages, setLanguage, t } from "../words/words.js";
import { filters } from "../filters.js";
import { Button, Notice, ProblemNotice } from "./parts.js";

const PAGES = ["overview", "devices", "filters", "schedule", "why", "rules", "history", "health"];
/* What "More time" gives, in seconds from then on. */
const MORE = 120;
const THEMES = ["system", "light", "dark"];

function setTheme(theme) {
  kept.set("theme", theme === "system" ? null : theme);
  showTheme();
}

export function showTheme() {
  const theme = kept.get("theme");
  if (theme) document.documentElement.dataset.theme = theme;
  else delete document.documentElement.dataset.theme;
}

export function Choices() {
  const [theme, choose] = useState(kept.get("theme") ?? "system");
  return html`<div class="choices">
    <label
      ><span class="hidden">${t("language")}</span>
      <select value=${language()} onChange=${(event) => setLanguage(event.target.value)}>
        ${languages.map((one) => html`<option value=${one}>${one.toUpperCase()}</option>`)}
      </select>
    </label>
    <label
      ><span class="hidden">${t("theme")}</span>
      <select
        value=${theme}
        onChange=${(event) => (setTheme(event.target.value), choose(event.target.value))}
      >
        ${THEMES.map((one) => html`<option value=${one}>${t(`theme.${one}`)}</option>`)}
      </select>
    </label>
  </div>`;
}

function Clock() {
  useSeconds();
  if (state.clockSkew === null) return null;
  return html`<span class="clock"
    ><strong>${clockTime(gatewayNow())}</strong>${" "}${zoneName()}</span
  >`;
}

function Navigation({ at }) {
  const [isOpen, open] = useState(false);
  useEffect(() => open(false), [at.steps.join("/")]);
  const here = at.steps[0] ?? "overview";
  const link = (page, label, isHere) =>
    html`<li><a href="#/${page}" aria-current=${isHere ? "page" : undefined}>${label}</a></li>`;
  return html`<nav aria-label=${t("pages")}>
    <button
      type="button"
      class="menu"
      aria-expanded=${isOpen ? "true" : "false"}
      onClick=${() => open(!isOpen)}
    >
      <span aria-hidden="true">☰</span>${" "}<span class="hidden">${t("pages")}: </span
      >${t(`page.${PAGES.includes(here) || here === "account" ? here : "overview"}`)}
    </button>
    <ul class=${isOpen ? "open" : ""}>
      ${PAGES.map((page) => link(page === "filters" ? "filters/traffic" : page, t(`page.${page}`), here === page))}
    </ul>
    ${
      here === "filters" &&
      html`<ul class="second" aria-label=${t("page.filters")}>
        ${Object.keys(filters).map((name) => link(`filters/${name}`, t(`filter.${name}`), at.steps[1] === name))}
      </ul>`
    }
  </nav>`;
}

function Pending() {
  const { pending } = state;
  useSeconds(pending !== null);
  const [problem, fail] = useState(null);
  const isMine = Boolean(pending?.mine);
  // Whoever has applied it has the next step under the hand.
  useEffect(() => document.getElementById("keep")?.focus(), [isMine]);
  if (!pending) return null;
  const left = Math.max(0, Math.round((pending.until - Date.now()) / 1000));
  const words =
    pending.state === "waiting" && left > 0
      ? t("pending.left", { time: countdown(left) })
      : t("pending.now");
  return html`<section class="bar pending" aria-label=${t("pending")}>
    <p><span class="shape" aria-hidden="true">▲</span>${" "}${words}</p>
    <div class="actions">
      ${
        isMine &&
        html`<${Button} kind="primary" id="keep" onClick=${() => attempt(keep, fail)}>
        ${t("keep")}</${Button}>`
      }
      ${
        isMine &&
        html`<${Button} onClick=${() => attempt(() => more(MORE), fail)}>
        ${t("more_time")}</${Button}>`
      }
      <${Button} onClick=${() => attempt(undo, fail)}>${t("undo_now")}</${Button}>
    </div>
    ${!isMine && html`<p class="quiet">${t("pending.others")}</p>`}
    <p class="hidden" role="alert">${left <= 15 && left > 0 ? t("pending.soon") : ""}</p>
    <${ProblemNotice} problem=${problem} />
  </section>`;
}

function LostLink() {
  const { isLost, answeredAt } = state.link;
  useSeconds(isLost);
  if (!isLost) return null;
  const left = state.pending ? Math.round((state.pending.until - Date.now()) / 1000) : 0;
  return html`<${Notice} kind="stop" role="status">
    <p><strong>${t("lost", { n: Math.round((Date.now() - answeredAt) / 1000) })}</strong>
    ${" "}${state.pending && (left > 0 ? t("lost.undo_in", { n: left }) : t("lost.undo_now"))} ${t("lost.shown")}</p>
  </${Notice}>`;
}

function Outcome() {
  const { outcome } = state;
  if (!outcome) return null;
  const kind = ["undone_by_time", "ended"].includes(outcome.kind) ? "warn" : "fine";
  const dismiss = html`<${Button} kind="plain" onClick=${() => update({ outcome: null })}>
    ${t("dismiss")}</${Button}>`;
  return html`<${Notice} kind=${kind} role="status" actions=${dismiss}>
    <p>${t(`outcome.${outcome.kind}`)}</p>${
      outcome.words && html`<p class="quiet" lang="en">${outcome.words}</p>`
    }
  </${Notice}>`;
}

function Draft({ at }) {
  const [isAsking, ask] = useState(false);
  const count = countChanges();
  useEffect(() => ask(false), [count]);
  if (!state.draft || !stored()) return null;
  const isReview = at.steps[0] === "review";
  if (isStale()) {
    return html`<section class="bar draft" aria-label=${t("draft")}>
      <p><span class="shape" aria-hidden="true">▲</span>${" "}${t("draft.stale")}
        ${
          state.newest &&
          html` <span class="quiet">
            ${t("change.by", { who: state.newest.who, ago: ago(new Date(state.newest.time)) })}
          </span>`
        }</p>
      <div class="actions">
        <${Button} onClick=${discard}>${t("draft.discard_mine")}</${Button}>
        <${Button} kind="primary" onClick=${rebase}>${t("draft.on_top")}</${Button}>
      </div>
    </section>`;
  }
  if (isReview) return null;
  return html`<section class="bar draft" aria-label=${t("draft")}>
    <p role="status">${t("draft.count", { n: count })}</p>
    <div class="actions">
      ${
        isAsking
          ? html`<span>${t("draft.sure")}</span>
            <${Button} onClick=${discard}>${t("draft.yes_discard")}</${Button}>
            <${Button} onClick=${() => ask(false)}>${t("draft.no")}</${Button}>`
          : html`<${Button} kind="plain" onClick=${() => ask(true)}>${t("discard")}</${Button}>`
      }
      <a class="button primary" href="#/review">${t("review", { n: count })}</a>
    </div>
  </section>`;
}

function Failures() {
  const names = ["status", "settings"].filter(
    (name) => state.failed[name] && state.failed[name].code !== "no_answer",
  );
  return names
    .slice(0, 1)
    .map((name) => html`<${ProblemNotice} problem=${state.failed[name]} key=${name} />`);
}

export function Frame({ at, children }) {
  return html`
    <a class="skip" href="#main"
      onClick=${(event) => (event.preventDefault(), document.getElementById("main").focus())}>
      ${t("skip")}</a>
    <header>
      <a class="brand" href="#/overview">
        <svg viewBox="0 0 16 16" aria-hidden="true"><path
          d="M8 1l6 2v5c0 4-3 6-6 7-3-1-6-3-6-7V3z" /></svg>${t("gateway")}</a>
      <${Clock} />
      <div class="own"><${Choices} />
        <a class="account" href="#/account"
          aria-current=${at.steps[0] === "account" ? "page" : undefined}>${t("page.account")}</a>
        <${Button} kind="plain small" onClick=${logOut}>${t("log_out")}</${Button}></div>
    </header>
    <${Navigation} at=${at} />
    <main id="main" tabindex="-1">
      <${LostLink} />
      <${Outcome} />
      <${Failures} />
      ${children}
    </main>
    <div class="bars"><${Pending} /><${Draft} at=${at} /></div>`;
}
