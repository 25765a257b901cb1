/* Who is in the home network, by name: what applies now and during the day, and what can be done about it. */
import { useEffect, useState } from "preact/hooks";
import { post, Problem } from "../api.js";
import { attempt } from "../change.js";
import { Effects, titleOf } from "../components/device.js";
import { EntryForm } from "../components/entry.js";
import { Button, Heading, ProblemNotice } from "../components/parts.js";
import { settings, tryEdit } from "../draft.js";
import { filters } from "../filters.js";
import { ago, minutesOf } from "../format.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { state } from "../store.js";
import { t } from "../words/words.js";

const { sections, list } = filters.devices;

const isOf = (device) => (entry) =>
  [device.mac, device.given_name?.toLowerCase()].includes(entry.mac.toLowerCase());

/* Has the lists say that a device is stopped at all hours, or never, in whichever mode they are. */
async function listAs(device, isStopped) {
  await tryEdit((all) => {
    for (const section of sections) {
      const filter = (all[section] ??= { enabled: false });
      const entries = filter[list] ?? [];
      const isListed = filter.mode === "white-list" ? !isStopped : isStopped;
      const first = entries.findIndex(isOf(device));
      const kept = entries
        .map((entry, i) => (isListed && i === first ? { mac: device.mac } : entry))
        .filter((entry, i) => (isListed && i === first) || !isOf(device)(entry));
      filter[list] = isListed && first < 0 ? [...kept, { mac: device.mac }] : kept;
      filter.enabled = filter.enabled || isStopped;
    }
  });
}

/* The answers of one device's day are asked for one after the other, not all at once. */
let queue = Promise.resolve();

function useDay(device) {
  const [day, setDay] = useState(null);
  const { draft, etag } = state;
  useEffect(() => {
    let isShown = true;
    queue = queue.then(async () => {
      if (!isShown) return;
      try {
        const { body } = await post("explain", {
          device: device.mac,
          ...(draft && { settings: draft.settings }),
        });
        if (isShown) setDay(body.day ?? []);
      } catch (problem) {
        if (!(problem instanceof Problem)) throw problem;
      }
    });
    return () => (isShown = false);
  }, [device.mac, draft, etag]);
  return day;
}

const END = 1440;

/* The same outcome for some time is one period, whichever setting decides. */
function joined(periods) {
  const rows = [];
  for (const one of periods) {
    const last = rows.at(-1);
    if (last?.outcome === one.outcome) last.to = one.to;
    else rows.push({ ...one });
  }
  return rows;
}

const endOf = (period) => (period.to === "00:00" ? END : minutesOf(period.to));

/* A device's day as the gateway judges it: what differs has a bar of its own. */
function Day({ device }) {
  const day = useDay(device);
  const bars = new Map();
  for (const { traffic, periods } of day ?? []) {
    const rows = joined(periods);
    const key = JSON.stringify(rows.map((one) => [one.from, one.outcome]));
    bars.set(key, { rows, traffic: [...(bars.get(key)?.traffic ?? []), traffic] });
  }
  const stopped = (rows) =>
    rows
      .filter((one) => one.outcome !== "accepted")
      .map((one) => `${one.from}–${one.to}`)
      .join(", ");
  return html`<ul class="periods">
    ${[...bars.values()].map(
      ({ rows, traffic }) =>
        html`<li>
          <svg class="day" viewBox="0 0 ${END} 10" preserveAspectRatio="none" aria-hidden="true">
            ${rows.map(
              (one) =>
                html`<rect
                  class=${one.outcome === "accepted" ? "free" : "blocked"}
                  x=${minutesOf(one.from)}
                  y="0"
                  width=${endOf(one) - minutesOf(one.from)}
                  height="10"
                />`,
            )}
          </svg>
          <small class="quiet"
            ><span lang="en">${traffic.join(", ")}</span>:${" "}
            ${stopped(rows) ? t("day.blocked", { spans: stopped(rows) }) : t("day.free")}</small
          >
        </li>`,
    )}
  </ul>`;
}

function Device({ device }) {
  const [isOpen, open] = useState(false);
  const [problem, fail] = useState(null);
  const name = titleOf(device);
  const addresses = [...device.ipv4, ...device.ipv6].filter((one) => one !== name);
  return html`<section class="panel device" aria-labelledby="d-${device.mac}">
    <div class="who"><h2 id="d-${device.mac}">${name}</h2>
      <p class="quiet">${device.mac !== name && html`<span>${device.mac} </span>`} ${
        device.locally_administered && html`<small class="tag">${t("device.made_up")} </small>`
      }</p>
      <p class="quiet">${addresses.join(", ")}${
        device.last_seen &&
        html` <span> ${t("device.seen", { ago: ago(new Date(device.last_seen)) })}</span>`
      }</p></div>
    <div class="now"><${Effects} effects=${device.settings} /><${Day} device=${device} /></div>
    <div class="actions">
      <${Button} kind="small" aria-label=${t("device.block_what", { what: name })}
        onClick=${() => attempt(() => listAs(device, true), fail)}>${t("device.block")}</${Button}>
      <${Button} kind="small" aria-label=${t("device.bedtime_what", { what: name })}
        aria-expanded=${isOpen ? "true" : "false"} onClick=${() => open(!isOpen)}>
        ${t("device.bedtime")}</${Button}>
      <${Button} kind="small" aria-label=${t("device.allow_what", { what: name })}
        onClick=${() => attempt(() => listAs(device, false), fail)}>${t("device.allow")}</${Button}>
      <a class="button small" href="#/why?device=${encodeURIComponent(device.mac)}"
        aria-label=${t("device.why_what", { what: name })}>${t("page.why")}</a>
    </div>
    <${ProblemNotice} problem=${problem} />
    ${
      isOpen &&
      html`<${EntryForm}
        filter="devices"
        sections=${sections}
        preset=${{ mac: device.mac, active: "21:30-06:30" }}
        label=${t("device.bedtime_what", { what: name })}
        onDone=${() => open(false)}
        onCancel=${() => open(false)}
        switchOn
        focus
      />`
    }
  </section>`;
}

export function Devices() {
  useWanted("devices");
  const { devices } = state.loaded;
  if (!devices || !settings()) {
    return html`<${Heading}>${t("page.devices")}</${Heading}><${ProblemNotice}
      problem=${state.failed.devices} />`;
  }
  return html`<${Heading}>${t("page.devices")}</${Heading}>
    <p class="lead">${t("devices.lead")} ${state.draft && t("devices.with_draft")}</p>
    ${devices.devices.length === 0 && html`<p class="quiet">${t("devices.none")}</p>`}
    ${devices.devices.map((device) => html`<${Device} key=${device.mac} device=${device} />`)}
    ${
      devices.others &&
      html`<section class="panel device" aria-labelledby="others">
        <div class="who"><h2 id="others">${t("devices.others")}</h2></div>
        <div class="now"><${Effects} effects=${devices.others} /></div>
      </section>`
    }
    ${devices.notes.map((note) => html`<p class="quiet" lang="en">${note}</p>`)}`;
}
