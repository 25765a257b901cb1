/* What the gateway tells by itself, and what is asked for anew when something has changed there or the link was lost. */
import { useEffect } from "preact/hooks";
import { get, load, Problem } from "./api.js";
import { changed, kept, state, update } from "./store.js";

const RETRY = 2000;
let source = null;
let timer = null;
const wanted = new Map();

let afterReload = () => {};

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
export function want(name, path = name) {
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
  const mine = kept.get("applying") !== null;
  update({ pending: { ...confirmation, mine, until: Date.now() + confirmation.seconds_left * 1000 } });
}

function countPackets(event) {
  for (const { family, chain, rule, path, packets } of JSON.parse(event.data).counters) {
    state.counters.set(`${path ?? ""} ${family} ${chain} ${rule}`, packets);
  }
  changed();
}

function close() {
  source?.close();
  source = null;
  clearTimeout(timer);
}

/* A stream that ends says not why: the session is asked for, which tells a lost link from an ended session. */
async function retry() {
  close();
  if (!state.session) return;
  try {
    update({ session: (await get("session")).body });
    await reload();
    listen();
  } catch (problem) {
    if (!(problem instanceof Problem)) throw problem;
    if (state.session) timer = setTimeout(retry, RETRY);
  }
}

export function listen() {
  close();
  source = new EventSource("/api/v1/events");
  source.addEventListener("counters", countPackets);
  source.addEventListener("pending", (event) => setPending(JSON.parse(event.data).confirmation));
  source.addEventListener("changed", (event) => {
    if (JSON.parse(event.data).etag !== state.etag) {
      state.counters.clear();
      reload();
    }
  });
  source.onerror = () => {
    close();
    timer = setTimeout(retry, RETRY / 4);
  };
}

export function start() {
  reload();
  listen();
}

export const stop = close;

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
