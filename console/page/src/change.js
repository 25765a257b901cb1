/* What changes the gateway: apply, keep, undo. Each ends with what is true there now. */
import { post, Problem } from "./api.js";
import * as draft from "./draft.js";
import { reload, setPending } from "./live.js";
import { kept, state, update } from "./store.js";

let inFlight = null;

/* A change that came with "confirm" waits; any other one is done. */
function noteMade({ status, body }, kind) {
  if (status === 202) {
    kept.set("applying", { ...kept.get("applying"), id: body.id });
    setPending({ id: body.id, seconds_left: body.confirm_within, state: "waiting" });
  } else {
    kept.set("applying", null);
    update({ outcome: { kind, words: body.done } });
  }
}

/* Sends a change. How one that got no answer has ended is found out when the link is back. */
async function make(path, seconds, body, begun, headers) {
  kept.set("applying", begun);
  inFlight = new AbortController();
  update({ outcome: null, isApplying: true });
  try {
    return await post(seconds ? `${path}?confirm=${seconds}` : path, body, {
      headers,
      signal: inFlight.signal,
    });
  } catch (problem) {
    if (problem.code !== "no_answer") kept.set("applying", null);
    throw problem;
  } finally {
    update({ isApplying: false });
    reload();
  }
}

export async function apply(seconds) {
  const { settings, base, etag } = state.draft;
  const answer = await make("apply", seconds, settings, { base, settings }, { "If-Match": etag });
  draft.discard();
  noteMade(answer, "applied");
}

export async function undoChange(id, seconds) {
  noteMade(await make("undo", seconds, { id }, { base: draft.stored(), settings: null }), "undone");
}

/* The change that waits, by its id: no other one is kept or undone by mistake. */
const waiting = () => (state.pending?.id ? { id: state.pending.id } : {});

async function end(path, kind) {
  const { body } = await post(path, waiting());
  kept.set("applying", null);
  update({ outcome: { kind, words: body.done }, pending: null });
  await reload();
}

export const keep = () => end("confirm", "kept");
export const undo = () => end("revert", "undone");

export async function more(seconds) {
  const { body } = await post(`extend?confirm=${seconds}`, waiting());
  setPending({ ...state.pending, seconds_left: body.confirm_within });
}

/* The answer of an apply that was under way when the link was lost does not come any more. */
export function giveUpApply() {
  if (state.isApplying) inFlight.abort();
}

/* Says how an apply of this browser has ended that got no answer, or that was not kept in time. What was typed comes back
 * as a draft where the gateway has undone it. */
export function explainLost() {
  const last = kept.get("applying");
  if (!last || state.isApplying || state.pending) return;
  kept.set("applying", null);
  const isUndone = draft.isEqual(last.base, draft.stored());
  if (isUndone && last.settings && !state.draft) draft.take(last.settings);
  if (!isUndone && last.settings) draft.discard();
  update({ outcome: { kind: isUndone ? "undone_by_time" : "set_after_all" } });
}

/* Runs a change and gives its problem to `fail`. */
export async function attempt(action, fail) {
  fail(null);
  try {
    await action();
    return true;
  } catch (problem) {
    if (!(problem instanceof Problem)) throw problem;
    fail(problem);
    return false;
  }
}
