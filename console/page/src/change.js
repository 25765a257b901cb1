/* What changes the gateway: apply, keep, undo. Each ends with what is true there now. */
import { post, Problem } from "./api.js";
import * as draft from "./draft.js";
import { reload, setPending } from "./live.js";
import { kept, state, update } from "./store.js";

let isApplying = false;

/* How an apply that got no answer has ended is found out when the link is back. */
export async function apply(seconds) {
  const { settings, base, etag } = state.draft;
  kept.set("applying", { base, settings });
  isApplying = true;
  update({ outcome: null });
  try {
    const { status, body } = await post(seconds ? `apply?confirm=${seconds}` : "apply", settings, { "If-Match": etag });
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
    isApplying = false;
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

/* Says how an apply of this browser has ended that got no answer, or that was not kept in time. What was typed comes back
 * as a draft where the gateway has undone it. */
export function explainLost() {
  const last = kept.get("applying");
  if (!last || isApplying || state.pending) return;
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
