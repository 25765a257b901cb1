/* What the gateway tells by itself, and what is asked for anew when something has changed there or the link was lost. */
import { useEffect } from "preact/hooks";
import { get, load, Problem } from "./api.js";
import { changed, kept, state, update } from "./store.js";

/* How often a silence is looked for, and how long an answer may take then. */
const PULSE = 2000;
const PATIENCE = 4000;
let source = null;
let timer = null;
const wanted = new Map();

const LONGEST_PAUSE = 15000;
let refusals = 0;
let afterReload = () => {};
let afterReturn = () => {};

/* What is called when everything has been loaded anew. */
export function onReload(action) {
  afterReload = action;
}

/* Loads what every page shows and what the current page has asked for. */
export async function reload() {
  const shown = [...wanted].map(([name, path]) => load(name, path));
  const [status, settings] = await Promise.all([load("status"), load("settings"), ...shown]);
  if (!status || !settings) return;
  setPending(status.confirmation);
  afterReload();
}

/* A page's answers, as long as it is shown. */
function want(name, path = name) {
  wanted.set(name, path);
  if (state.session && !state.loaded[name]) load(name, path);
  return () => wanted.delete(name);
}

export function setPending(confirmation) {
  const before = state.pending;
  if (!confirmation) {
    update({ pending: null });
    // It ended without this page's doing: kept or undone elsewhere, or its time was up.
    if (before && !before.mine && !state.outcome) update({ outcome: { kind: "ended" } });
    return;
  }
  const made = kept.get("applying");
  const mine = made !== null && (!made.id || made.id === confirmation.id);
  update({
    pending: { ...confirmation, mine, until: Date.now() + confirmation.seconds_left * 1000 },
  });
}

/* After a change other rules stand where these stood. */
async function countAnew() {
  const rules = await load("rules");
  if (!rules) return;
  state.counters.clear();
  for (const { family, chains } of rules.tables) {
    for (const chain of chains) {
      chain.rules.forEach(
        (rule, i) =>
          rule.packets &&
          state.counters.set(
            `${rule.origin?.path ?? ""} ${family} ${chain.name} ${i + 1}`,
            rule.packets,
          ),
      );
    }
  }
  changed();
}

function countPackets(event) {
  for (const { family, chain, rule, path, packets } of JSON.parse(event.data).counters) {
    state.counters.set(`${path ?? ""} ${family} ${chain} ${rule}`, packets);
  }
  changed();
}

/* What is called when the gateway answers again after a while without an answer. */
export function onReturn(action) {
  afterReturn = action;
}

function close() {
  source?.close();
  source = null;
}

async function beginAgain() {
  afterReturn();
  await reload();
  listen();
}

/* Asks for the session where a silence would say something: while a change waits or is made, after an answer that did not
 * come, and after the end of the event stream, which says not why it ended. */
async function pulse() {
  clearTimeout(timer);
  if (!state.session) return;
  const wasLost = state.link.isLost || source === null;
  if (wasLost || state.pending || state.isApplying) {
    try {
      const { body } = await get("session", { limit: PATIENCE });
      if (wasLost) {
        update({ session: body });
        await beginAgain();
      }
    } catch (problem) {
      if (!(problem instanceof Problem)) throw problem;
    }
  }
  clearTimeout(timer);
  if (state.session) timer = setTimeout(pulse, PULSE);
}

function listen() {
  close();
  source = new EventSource("/api/v1/events");
  source.addEventListener("counters", countPackets);
  source.addEventListener("pending", (event) => setPending(JSON.parse(event.data).confirmation));
  source.addEventListener("changed", (event) => {
    const { etag, newest } = JSON.parse(event.data);
    update({ newest });
    if (etag !== state.etag) {
      reload();
      countAnew();
    }
  });
  source.onopen = () => (refusals = 0);
  source.onerror = () => {
    close();
    clearTimeout(timer);
    // The server has few places for streams: without one the page asks anew now and then.
    timer = setTimeout(pulse, Math.min(LONGEST_PAUSE, (PULSE / 4) * 2 ** refusals++));
  };
}

export function start() {
  addEventListener("pagehide", close);
  reload();
  listen();
  pulse();
}

export function stop() {
  close();
  clearTimeout(timer);
}

/* Packets that met the rules of a setting, for all its entries or for one. */
export function hitsOf(paths) {
  let sum = 0;
  for (const [key, packets] of state.counters) {
    if (paths.includes(key.slice(0, key.search(/ IPv[46] /)))) sum += packets;
  }
  return sum;
}

/* What a page shows besides settings and status. */
export function useWanted(...names) {
  useEffect(() => {
    const ends = names.map((name) => want(name));
    return () => ends.forEach((end) => end());
  }, names);
}
