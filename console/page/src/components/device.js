/* What is told of a device: its name, and what becomes of what it sends, until when. */
import { dayAndTime, clockTime, gatewayNow } from "../format.js";
import { pageOfPath } from "../filters.js";
import { html } from "../html.js";
import { settingWords } from "../setting.js";
import { t } from "../words/words.js";
import { Mark } from "./parts.js";

const KINDS = { accepted: "fine", dropped: "stop", "accepted at first": "warn" };
const DAY = 86400000;

export const titleOf = (device) => device.name ?? device.ipv4[0] ?? device.mac;

function untilText(until) {
  if (!until) return t("until.further");
  const at = new Date(until);
  const isSoon = at.getTime() - gatewayNow().getTime() < DAY;
  return t("until", { time: isSoon ? clockTime(at) : dayAndTime(at) });
}

export function Outcome({ outcome }) {
  return html`<${Mark} kind=${KINDS[outcome]}>${t(`outcome_of.${outcome}`)}</${Mark}>`;
}

export function SettingLink({ path, settings }) {
  return html`<a href="#/${pageOfPath(path)}">${settingWords(path, settings)}</a>`;
}

/* Both families in one line where they fare alike. */
export function Effects({ effects, stoppedOnly }) {
  if (!effects) return html`<span class="quiet">${t("effects.unknown")}</span>`;
  const line = (effect) => `${effect.outcome} ${effect.until}`;
  const rows =
    line(effects.ipv4) === line(effects.ipv6)
      ? [["", effects.ipv4]]
      : [
          ["IPv4", effects.ipv4],
          ["IPv6", effects.ipv6],
        ];
  if (effects.dhcp.outcome === "dropped") rows.push([t("filter.addresses"), effects.dhcp]);
  const shown = stoppedOnly ? rows.filter(([, effect]) => effect.outcome !== "accepted") : rows;
  return html`<ul class="effects">
    ${shown.map(
      ([family, effect]) =>
        html`<li>
          ${family && html`<small class="quiet">${family}</small>`}${" "}<${Outcome}
            outcome=${effect.outcome}
          />
          ${
            (effect.until || effect.outcome === "dropped") &&
            html` <span class="quiet"> ${untilText(effect.until)}</span>`
          }
          ${effect.decided_by && html` <${SettingLink} path=${effect.decided_by} />`}
        </li>`,
    )}
  </ul>`;
}
