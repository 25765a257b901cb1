/* Numbers and times for people: by Intl, in the gateway's time zone. */
import { language } from "./words/words.js";
import { state } from "./store.js";

const PERIODS = [
  ["second", 60],
  ["minute", 60],
  ["hour", 24],
  ["day", Infinity],
];

export const number = (value) => new Intl.NumberFormat(language()).format(value);

export function gatewayNow() {
  return new Date(Date.now() + (state.clockSkew ?? 0));
}

/* Minutes that the gateway's spans are ahead of UTC; null where that is not known. */
export function offsetMinutes() {
  const zone = state.loaded.status?.time_zone;
  if (!zone) return 0;
  const match = /^([+-])(\d\d):(\d\d)$/.exec(zone.utc_offset ?? "");
  return match ? (match[1] === "-" ? -1 : 1) * (Number(match[2]) * 60 + Number(match[3])) : null;
}

export function zoneName() {
  return state.loaded.status?.time_zone?.name ?? "UTC";
}

/* "21:04" on the gateway's clock. */
export function clockTime(date) {
  const local = new Date(date.getTime() + (offsetMinutes() ?? 0) * 60000);
  return new Intl.DateTimeFormat(language(), {
    hour: "2-digit",
    minute: "2-digit",
    hourCycle: "h23",
    timeZone: "UTC",
  }).format(local);
}

export function dayAndTime(date) {
  const local = new Date(date.getTime() + (offsetMinutes() ?? 0) * 60000);
  return new Intl.DateTimeFormat(language(), {
    dateStyle: "medium",
    timeStyle: "short",
    timeZone: "UTC",
  }).format(local);
}

export function countdown(seconds) {
  return `${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, "0")}`;
}

/* "5 minutes ago". */
export function ago(date) {
  let value = Math.min(0, (date.getTime() - gatewayNow().getTime()) / 1000);
  for (const [unit, size] of PERIODS) {
    if (-value < size) {
      return new Intl.RelativeTimeFormat(language(), { numeric: "auto" }).format(
        Math.round(value),
        unit,
      );
    }
    value /= size;
  }
  return "";
}

export const minutesOf = (text) => Number(text.slice(0, 2)) * 60 + Number(text.slice(3, 5));

export function timeOf(minutes) {
  return `${String(Math.floor(minutes / 60)).padStart(2, "0")}:${String(minutes % 60).padStart(2, "0")}`;
}

/* A clock time of the gateway in UTC. */
export function toUtc(text) {
  const offset = offsetMinutes();
  if (offset === null) return "?";
  return timeOf((((minutesOf(text) - offset) % 1440) + 1440) % 1440);
}

export const isAllDay = (active) => !active || active === "all day";

/* [from, to] in minutes of each piece of a span within one day. */
export function pieces(active) {
  if (isAllDay(active)) return [[0, 1440]];
  const [from, to] = active.split("-").map(minutesOf);
  if (from < to) return [[from, to]];
  return [
    [from, 1440],
    [0, to],
  ].filter(([start, end]) => end > start);
}

export function length(active) {
  return pieces(active).reduce((sum, [from, to]) => sum + to - from, 0);
}
