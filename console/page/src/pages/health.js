/* What is well with the gateway and what is not, each with its remedy, in the gateway's own words. */
import { Button, Heading, Mark, ProblemNotice } from "../components/parts.js";
import { load } from "../api.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { state } from "../store.js";
import { t } from "../words/words.js";

const KINDS = { problem: "stop", warning: "warn", ok: "fine" };

export function Health() {
  useWanted("health");
  const { health } = state.loaded;
  const again = html`<${Button} kind="small" onClick=${() => load("health")}>${t("health.again")}
    </${Button}>`;
  return html`<${Heading} aside=${again}>${t("page.health")}</${Heading}>
    <${ProblemNotice} problem=${state.failed.health} />
    ${
      health &&
      Object.entries(KINDS).map(([kind, mark]) => {
        const found = health.findings.filter((one) => one.state === kind);
        return (
          found.length > 0 &&
          html`<section aria-labelledby="of-${kind}">
            <h2 id="of-${kind}">${t(`health.${kind}`)}</h2>
            <ul class="findings">
              ${found.map(
                (one) => html`<li><${Mark} kind=${mark}><span class="hidden">${t(`health.${kind}`)}
                  </span></${Mark}>
          <div lang="en"><strong>${one.about}</strong>${" "}${one.finding}${
            one.advice && html`<p class="advice">${one.advice}</p>`
          }</div></li>`,
              )}
            </ul>
          </section>`
        );
      })
    }`;
}
