/* A daily span: a form of two times, and bars that show spans over the gateway's day. */
import { html } from "../html.js";
import {
  clockTime,
  gatewayNow,
  isAllDay,
  minutesOf,
  pieces,
  timeOf,
  toUtc,
  zoneName,
} from "../format.js";
import { t } from "../words/words.js";

/* "21:30-06:30" in words, with the morning where it ends. */
export function spanText(active) {
  if (isAllDay(active)) return t("all_day");
  const [from, to] = active.split("-");
  return to < from ? t("span.over_night", { from, to }) : `${from}–${to}`;
}

export function SpanText({ active }) {
  if (isAllDay(active) || zoneName() === "UTC") return html`<span>${spanText(active)}</span>`;
  const utc = active
    .split("-")
    .map((time) => toUtc(time.replace("24:00", "00:00")))
    .join("–");
  return html`<span>${spanText(active)}${" "}<small class="quiet">${utc} UTC</small></span>`;
}

function lengthText(from, to) {
  const minutes = (minutesOf(to) - minutesOf(from) + 1440) % 1440;
  return t("span.length", { hours: Math.floor(minutes / 60), minutes: minutes % 60 });
}

/* Two times, or all day. */
export function SpanField({ control, value, onChange, label }) {
  const isAll = isAllDay(value);
  const [from, to] = isAll ? ["", ""] : value.split("-");
  const set = (start, end) => onChange(`${start}-${end}`);
  return html`<div class="span" role="group" aria-label=${label}>
    <select
      ...${control}
      value=${isAll ? "all" : "span"}
      onChange=${(event) => onChange(event.target.value === "all" ? "all day" : "21:30-06:30")}
    >
      <option value="all">${t("all_day")}</option>
      <option value="span">${t("span.daily")}</option>
    </select>
    ${
      !isAll &&
      html`<label
          ><span>${t("span.from")}</span>
          <input
            type="time"
            step="60"
            value=${from}
            onInput=${(event) => set(event.target.value, to)}
        /></label>
        <label
          ><span>${t("span.to")}</span>
          <input
            type="time"
            step="60"
            value=${to === "24:00" ? "00:00" : to}
            onInput=${(event) => set(from, event.target.value === "00:00" ? "24:00" : event.target.value)}
        /></label>
        ${
          from &&
          to &&
          html`<span class="quiet">
            ${lengthText(from, to)}${to < from ? `, ${t("span.until_morning")}` : ""}</span
          >`
        }`
    }
  </div>`;
}

/* The spans over 24 hours, with a line at the gateway's time. */
export function DayBar({ spans, now = true, drawn, label }) {
  const blocks = spans.flatMap(pieces);
  const at = minutesOf(clockTime(gatewayNow()));
  const rect = ([from, to], kind) =>
    html`<rect class=${kind} x=${from} y="0" width=${to - from} height="24" />`;
  return html`<svg
    class="day"
    viewBox="0 0 1440 24"
    preserveAspectRatio="none"
    role=${label ? "img" : undefined}
    aria-label=${label}
    aria-hidden=${label ? undefined : "true"}
  >
    ${blocks.map((piece) => rect(piece, "blocked"))}
    ${(drawn ? pieces(drawn) : []).map((piece) => rect(piece, "drawn"))}
    ${now && html`<line x1=${at} x2=${at} y1="0" y2="24" />`}
  </svg>`;
}

export const hourText = (hour) => timeOf(hour * 60);
