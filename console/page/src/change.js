/* What changes the gateway: apply, keep, undo. Each ends with what is true there now. */
import { post, Problem } from "./api.js";
import * as draft from "./draft.js";
import { reload, setPending } from "./live.js";
import { kept, state, update } from "./store.js";

let inFlight = null;

/* How an apply that got no answer has ended is found out when the link is back. */
export async function apply(seconds) {
  const { settings, base, etag } = state.draft;
  kept.set("applying", { base, settings });
  inFlight = new AbortController();
  update({ outcome: null, isApplying: true });
  try {
    const path = seconds ? `apply?confirm=${seconds}` : "apply";
    const { status, body } = await post(path, settings, { headers: { "If-Match": etag }, signal: inFlight.signal });
    draft.discard();
    if (status === 202) {
      setPending({ seconds_left: body.confirm_within, state: "waiting" });
    } else {
      kept.set("applying", null);
      update({ outcome: { kind: "applied", words: body.done } });
    }
  } catch (problem) {
    if (problem.code !== "no_answer") kept.set("applying", null);
    throw problem;
  } finally {
    update({ isApplying: false });
    reload();
  }
}

async function end(path, kind) {
  const { body } = await post(path);
  kept.set("applying", null);
  update({ outcome: { kind, words: body.done }, pending: null });
  await reload();
}

export const keep = () => end("confirm", "kept");
export const undo = () => end("revert", "undone");

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
  if (isUndone && !state.draft) draft.take(last.settings);
  if (!isUndone) draft.discard();
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
