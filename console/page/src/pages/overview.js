/* What is so now, in one glance. */
import { useState } from "preact/hooks";
import { Heading, Mark, ProblemNotice, Switch } from "../components/parts.js";
import { edit, settings } from "../draft.js";
import { filters, pageOfPath } from "../filters.js";
import { clockTime, dayAndTime, gatewayNow, number } from "../format.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { choicesOf } from "../schema.js";
import { state } from "../store.js";
import { t } from "../words/words.js";
import { Effects, titleOf } from "../components/device.js";
import { ZoneForm } from "../components/zone.js";
import { settingWords } from "../setting.js";

const LEVEL_MARK = { off: "stop", low: "warn", high: "fine" };
const SWITCHES = ["ipsec_pass_through", "vpn_pass_through"];

/* Off, low and high are a short way to say two settings; the draft has these two. */
function levelOf(all) {
  if (!all.firewall?.enabled) return "off";
  return all.port_scan_protection ? "high" : "low";
}

function setLevel(level) {
  edit((changed) => {
    changed.firewall = { enabled: level !== "off" };
    changed.port_scan_protection = level === "high";
  });
}

function Protection({ status }) {
  const level = levelOf(settings());
  const changes = level !== levelOf(state.loaded.settings);
  return html`<section class="panel" aria-labelledby="protection">
    <h2 id="protection">${t("protection")}</h2>
    <p class="big"><${Mark} kind=${LEVEL_MARK[status.security_level]}>
      ${t(`level.${status.security_level}`)}</${Mark}></p>
    <p class="quiet">
      ${t("level.means", { firewall: t(status.firewall ? "on" : "off"), scan: t(status.port_scan_protection ? "on" : "off") })}</p>
    <fieldset class="choice"><legend>${t("level.change")} ${
      changes && html`<small class="tag"> ${t("draft_entry")}</small>`
    }</legend>
      ${choicesOf("security_level").map(
        (one) =>
          html`<label>
            <input
              type="radio"
              name="level"
              value=${one}
              checked=${one === level}
              onChange=${() => setLevel(one)}
            />${" "}${t(`level.${one}`)}</label
          >`,
      )}
    </fieldset>
    ${SWITCHES.map(
      (name) =>
        html`<${Switch}
          label=${t(`switch.${name}`)}
          on=${Boolean(settings()[name])}
          onChange=${(on) => edit((all) => (all[name] = on))}
        />`,
    )}
  </section>`;
}

function Internet({ status }) {
  return html`<section class="panel" aria-labelledby="internet">
    <h2 id="internet">${t("internet")}</h2>
    <p class="big">
      ${
        status.internet_wan
          ? html`<${Mark} kind="fine">${status.internet_wan}</${Mark}>`
          : html`<${Mark} kind="warn">${t("internet.none")}</${Mark}>`
      }
    </p>
    <p class="quiet">
      ${status.lan_address ? t("internet.lan", { address: status.lan_address }) : t("internet.no_lan")}
    </p>
  </section>`;
}

function Health() {
  const { health } = state.loaded;
  const found = (health?.findings ?? []).filter((one) => one.state !== "ok");
  const worst = found.some((one) => one.state === "problem") ? "stop" : "warn";
  return html`<section class="panel" aria-labelledby="health">
    <h2 id="health">${t("page.health")}</h2>
    <${ProblemNotice} problem=${state.failed.health} />
    ${
      health &&
      html`<p class="big">
          ${
            found.length
              ? html`<${Mark} kind=${worst}>${t("health.found", { n: found.length })}</${Mark}>`
              : html`<${Mark} kind="fine">${t("health.well")}</${Mark}>`
          }
        </p>
        ${found.map(
          (one) =>
            html`<p lang="en">
              <strong>${one.about}</strong> ${" "}${one.finding}${
                one.advice && html`<br /><span class="quiet">${one.advice} </span>`
              }
            </p>`,
        )}
        <p><a href="#/health">${t("health.open")}</a></p>`
    }
  </section>`;
}

function TimeZone({ status }) {
  const [isOpen, open] = useState(false);
  const zone = settings().time_zone ?? "";
  const unset = gatewayNow().getUTCFullYear() < 2026;
  const change = status.time_zone?.next_change;
  return html`<section class="panel" aria-labelledby="clock">
    <h2 id="clock">${t("clock")}</h2>
    <p class="big">
      ${
        unset
          ? html`<${Mark} kind="warn">${t("clock.unset")}</${Mark}>`
          : html`<${Mark}
        kind="fine">${clockTime(gatewayNow())}</${Mark}>`
      }
    </p>
    <p class="quiet">
      ${status.time_zone ? t("clock.zone", { zone: status.time_zone.name, offset: status.time_zone.utc_offset ?? "?" }) : t("clock.utc")}
      ${
        change &&
        html`<br />
          ${t("clock.change", { at: dayAndTime(new Date(change.at * 1000)), offset: change.utc_offset })}`
      }
      ${status.time_zone?.problem && html`<br /><span lang="en">${status.time_zone.problem}</span>`}
    </p>
    ${
      isOpen
        ? html`<${ZoneForm} zone=${zone} onDone=${() => open(false)} />`
        : html`<p>
            <button type="button" class="small" onClick=${() => open(true)}>
              ${t("clock.set_zone")}
            </button>
          </p>`
    }
  </section>`;
}

function Blocked() {
  const { blocked } = state.loaded;
  return html`<section class="panel" aria-labelledby="blocked">
    <h2 id="blocked">${t("blocked")}</h2>
    <${ProblemNotice} problem=${state.failed.blocked} />
    ${
      blocked?.devices.length === 0 &&
      html`<p class="big"><${Mark} kind="fine">
      ${t("blocked.none")}</${Mark}></p>`
    }
    ${blocked?.devices.map(
      (device) =>
        html`<div class="blocked" key=${device.mac}>
          <a href="#/why?device=${encodeURIComponent(device.mac)}"
            ><strong>${titleOf(device)}</strong></a
          >${" "}<${Effects} effects=${device.settings} stoppedOnly />
        </div>`,
    )}
  </section>`;
}

function MostHit() {
  const sums = new Map();
  for (const [key, packets] of state.counters) {
    const path = key.slice(0, key.search(/ IPv[46] /));
    const section = path.split(/[.[]/)[0];
    if (Object.values(filters).some((one) => one.sections.includes(section))) {
      sums.set(path, (sums.get(path) ?? 0) + packets);
    }
  }
  const rows = [...sums]
    .filter(([, sum]) => sum > 0)
    .sort((one, other) => other[1] - one[1])
    .slice(0, 6);
  const most = rows[0]?.[1] ?? 1;
  return html`<section class="panel" aria-labelledby="hits">
    <h2 id="hits">${t("most_hit")}</h2>
    ${rows.length === 0 && html`<p class="quiet">${t("most_hit.none")}</p>`}
    <ul class="hits">
      ${rows.map(
        ([path, sum]) =>
          html`<li key=${path}>
            <a href="#/${pageOfPath(path)}">${settingWords(path)}</a>
            <span class="count">${number(sum)}</span>
            <svg class="gauge" viewBox="0 0 100 4" preserveAspectRatio="none" aria-hidden="true">
              <rect width=${Math.max(1, (sum / most) * 100)} height="4" />
            </svg>
          </li>`,
      )}
    </ul>
    ${rows.length > 0 && html`<p class="quiet">${t("most_hit.since")}</p>`}
  </section>`;
}

export function Overview() {
  useWanted("health", "blocked", "devices");
  const { status } = state.loaded;
  if (!status || !settings()) {
    return html`<${Heading}>${t("page.overview")}</${Heading}><p class="quiet">${t("loading")}</p>`;
  }
  return html`<${Heading}>${t("page.overview")}</${Heading}>
    <div class="panels">
      <div class="stack"><${Protection} status=${status} /><${Internet} status=${status} />
        <${TimeZone} status=${status} /></div>
      <div class="stack"><${Blocked} /><${MostHit} /><${Health} /></div>
    </div>`;
}
