/* The draft: changed settings that are kept in this browser, with those they began from, until they are applied or
 * discarded. Every tab of the browser has the same one. */
import { post } from "./api.js";
import { kept, state, update } from "./store.js";

const copy = (value) => structuredClone(value);
export const isEqual = (one, other) => JSON.stringify(one) === JSON.stringify(other);
const isObject = (value) => value !== null && typeof value === "object" && !Array.isArray(value);

/* Two sections for one thing in both address families count as one change. */
const FAMILY = { mac6_filter: "mac_filter" };

export function stored() {
  return state.loaded.settings;
}

/* Nothing before those of the gateway have come, for a draft alone says not what is so. */
export function settings() {
  return stored() && (state.draft?.settings ?? stored());
}

function keep(draft) {
  kept.set("draft", draft);
  update({ draft });
}

export function discard() {
  keep(null);
}

export function readKept() {
  const draft = kept.get("draft");
  update({ draft: draft?.base && draft?.settings ? draft : null });
}

export function followOtherTabs() {
  addEventListener("storage", (event) => {
    if (event.key === "l3.draft" || event.key === null) readKept();
  });
}

function changedCopy(change) {
  const changedSettings = copy(settings());
  change(changedSettings);
  return changedSettings;
}

export function take(changedSettings) {
  const base = state.draft?.base ?? stored();
  const etag = state.draft?.etag ?? state.etag;
  keep(isEqual(base, changedSettings) ? null : { base, etag, settings: changedSettings });
}

export function edit(change) {
  take(changedCopy(change));
}

/* Takes a change over once the gateway finds nothing wrong with it; throws its Problem otherwise. */
export async function tryEdit(change) {
  const changedSettings = changedCopy(change);
  await post("plan", changedSettings);
  take(changedSettings);
}

/* Entries of one list that the other has not, each as often as it is missing. */
export function without(list, other) {
  const rest = other.map((entry) => JSON.stringify(entry));
  return list.filter((entry) => {
    const place = rest.indexOf(JSON.stringify(entry));
    if (place < 0) return true;
    rest.splice(place, 1);
    return false;
  });
}

function changesOfList(path, old, now, into) {
  const added = without(now, old);
  const removed = without(old, now);
  for (let i = 0; i < Math.max(added.length, removed.length); ++i) {
    into.add(`${path} ${JSON.stringify(removed[i])} ${JSON.stringify(added[i])}`);
  }
  if (!added.length && !removed.length && !isEqual(old, now)) into.add(`${path} order`);
}

function changesOf(path, old, now, into) {
  if (isEqual(old, now)) return;
  if (isObject(old) && isObject(now)) {
    for (const name of new Set([...Object.keys(old), ...Object.keys(now)])) {
      changesOf(path ? `${path}.${name}` : (FAMILY[name] ?? name), old[name], now[name], into);
    }
  } else if (Array.isArray(old) && Array.isArray(now)) {
    changesOfList(path, old, now, into);
  } else {
    into.add(path);
  }
}

export function countChanges() {
  if (!state.draft) return 0;
  const changes = new Set();
  changesOf("", state.draft.base, state.draft.settings, changes);
  return changes.size;
}

/* The draft began from other settings than are stored now. */
export function isStale() {
  return state.draft !== null && state.etag !== null && state.draft.etag !== state.etag;
}

/* What the draft changed, put on top of what is stored now. */
function onTop(base, mine, theirs) {
  if (isEqual(base, mine)) return copy(theirs);
  if (isObject(base) && isObject(mine) && isObject(theirs)) {
    const merged = {};
    for (const name of new Set([...Object.keys(theirs), ...Object.keys(mine)])) {
      const value = onTop(base[name], mine[name], theirs[name]);
      if (value !== undefined) merged[name] = value;
    }
    return merged;
  }
  if (
    Array.isArray(base) &&
    Array.isArray(mine) &&
    Array.isArray(theirs) &&
    !isEqual(base, theirs)
  ) {
    return [...without(theirs, without(base, mine)), ...without(without(mine, base), theirs)];
  }
  return copy(mine);
}

export function rebase() {
  const { base, settings: mine } = state.draft;
  const merged = onTop(base, mine, stored());
  keep(
    isEqual(merged, stored()) ? null : { base: copy(stored()), etag: state.etag, settings: merged },
  );
}
