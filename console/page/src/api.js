/* The one place that talks to the server. Every failure is a Problem with a `code`, as the API has it. */
import { kept, state, update } from "./store.js";

export class Problem extends Error {
  constructor(body) {
    super(body.detail);
    Object.assign(this, body);
  }
}

const NO_ANSWER = { code: "no_answer", status: 0 };
/* The server ends an l3ctl that reads after 8 s, and one that changes something after 30 s. */
const LONGEST = { GET: 12000, other: 40000 };

function sessionEnded() {
  update({ session: null });
}

/* The gateway's clock, from the Date of each answer. */
function noteClock(response) {
  const date = Date.parse(response.headers.get("Date"));
  if (!Number.isNaN(date)) {
    const skew = date - Date.now();
    if (state.clockSkew === null || Math.abs(skew - state.clockSkew) > 1500) {
      update({ clockSkew: skew });
    }
  }
}

async function answerOf(method, path, body, { headers, limit, signal }) {
  const timeout = AbortSignal.timeout(limit ?? LONGEST[method] ?? LONGEST.other);
  const options = {
    method,
    headers: { ...headers },
    signal: signal ? AbortSignal.any([timeout, signal]) : timeout,
  };
  if (method !== "GET") {
    options.headers["Content-Type"] = "application/json";
    options.headers["X-L3-Token"] = state.session?.csrf_token ?? "";
    options.body = JSON.stringify(body ?? {});
  }
  try {
    const response = await fetch(`/api/v1/${path}`, options);
    return { response, text: await response.text() };
  } catch {
    if (!state.link.isLost) update({ link: { ...state.link, isLost: true } });
    throw new Problem(NO_ANSWER);
  }
}

function parsed(text, status) {
  try {
    return JSON.parse(text);
  } catch {
    throw new Problem({ code: "not_json", status, detail: text.slice(0, 200) });
  }
}

/* Sends a request, with `headers`, a `limit` of time and a `signal` to end it. The answer has the JSON as `body`. */
export async function request(method, path, body, options = {}) {
  const { response, text } = await answerOf(method, path, body, options);
  const wasLost = state.link.isLost;
  state.link = { isLost: false, answeredAt: Date.now() };
  if (wasLost) update({});
  noteClock(response);
  const json = text ? parsed(text, response.status) : null;
  if (response.ok) {
    return { status: response.status, body: json, etag: response.headers.get("ETag") };
  }
  if (response.status === 401 && json?.code === "log_in") sessionEnded();
  throw new Problem(json ?? { code: "not_json", status: response.status, detail: "" });
}

export const get = (path, options) => request("GET", path, null, options);
export const post = (path, body, options) => request("POST", path, body, options);

/* Loads what a page shows. What was there before stays visible beside a problem. */
export async function load(name, path = name) {
  try {
    const { body, etag } = await get(path);
    state.failed[name] = null;
    if (name === "settings") state.etag = etag;
    update({ loaded: { ...state.loaded, [name]: body } });
    return body;
  } catch (problem) {
    if (!(problem instanceof Problem)) throw problem;
    state.failed[name] = problem;
    update({});
    return null;
  }
}

/* A browser that was never logged in does not ask, so that its first view needs the page alone. */
export async function findSession() {
  if (!kept.get("known")) {
    update({ session: null });
    return;
  }
  try {
    update({ session: (await get("session")).body, hadSession: true });
  } catch (problem) {
    update({
      session: null,
      failed: { ...state.failed, session: problem.code === "log_in" ? null : problem },
    });
  }
}

export async function logIn(password) {
  const { body } = await post("session", { password });
  kept.set("known", true);
  update({ session: body, hadSession: true });
}

export async function logOut() {
  await request("DELETE", "session");
  kept.set("known", null);
  update({ session: null, hadSession: false, loaded: {} });
}
