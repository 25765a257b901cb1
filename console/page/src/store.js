/* What the page knows, in one place. Components read `state` and are drawn anew after each change. */
import { useEffect, useLayoutEffect, useState } from "preact/hooks";

export const state = {
  session: undefined, // null: nobody is logged in
  hadSession: false, // the page was shown already: a new log-in goes back to it
  link: { isLost: false, answeredAt: Date.now() },
  isApplying: false,
  clockSkew: null, // the gateway's clock minus ours, in milliseconds
  loaded: {}, // answers of GET by their name
  failed: {}, // problems of GET by their name
  etag: null,
  counters: new Map(), // packets by "path family chain rule"
  draft: null,
  pending: null,
  newest: null, // the last change: when and by whom
  outcome: null, // how the last change ended, until it is put away
};

const listeners = new Set();
let isAnnounced = false;

/* Draws once for all changes of one turn. */
export function changed() {
  if (isAnnounced) return;
  isAnnounced = true;
  queueMicrotask(() => {
    isAnnounced = false;
    for (const listener of listeners) listener();
  });
}

export function update(changes) {
  Object.assign(state, changes);
  changed();
}

export function useStore() {
  const [, redraw] = useState(0);
  // Before anything else can change what was drawn.
  useLayoutEffect(() => {
    const listener = () => redraw((count) => count + 1);
    listeners.add(listener);
    return () => listeners.delete(listener);
  }, []);
  return state;
}

/* Draws a component once a second, for what counts down. */
export function useSeconds(isOn = true) {
  const [now, setNow] = useState(Date.now());
  useEffect(() => {
    if (!isOn) return undefined;
    const timer = setInterval(() => setNow(Date.now()), 1000);
    return () => clearInterval(timer);
  }, [isOn]);
  return isOn ? Date.now() : now;
}

/* What is kept in this browser; without its storage everything works until the page is left. */
export const kept = {
  get(name) {
    try {
      return JSON.parse(localStorage.getItem(`l3.${name}`));
    } catch {
      return null;
    }
  },
  set(name, value) {
    try {
      if (value === null) localStorage.removeItem(`l3.${name}`);
      else localStorage.setItem(`l3.${name}`, JSON.stringify(value));
    } catch {
      // The storage is full or forbidden.
    }
  },
};
