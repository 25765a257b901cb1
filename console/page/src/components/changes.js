/* The last changes: when, by whom, what, and the way back to before each. */
import { useState } from "preact/hooks";
import { attempt, undoChange } from "../change.js";
import { families, filterOfSection } from "../filters.js";
import { dayAndTime } from "../format.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { entryWords, sectionWords } from "../setting.js";
import { state } from "../store.js";
import { has, t } from "../words/words.js";
import { Button, Notice, ProblemNotice } from "./parts.js";
import { plain } from "./plain.js";

/* Time enough to see what an undo has brought. */
const SECONDS = 60;

function valueWords(section, value) {
  return value !== null && typeof value === "object" && filterOfSection(section)
    ? entryWords(section, value)
    : plain(value);
}

/* One field, in the words of its setting; the field of an entry by its name. */
function Difference({ field }) {
  const section = field.path.split(/[.[]/)[0];
  const name = /(\w+)$/.exec(field.path)?.[1] ?? "";
  const place = /\[(\d+)\]/.exec(field.path)?.[1];
  const where = [
    sectionWords(section),
    families[section],
    place !== undefined && `${Number(place) + 1}.`,
    name !== section && has(`field.${name}`) && t(`field.${name}`),
  ];
  const [old, now] = [valueWords(section, field.old), valueWords(section, field.new)];
  return html`<li>
    <strong>${where.filter(Boolean).join(" ")}</strong
    >${" "}${field.old === null ? now : `${old} → ${now}`}
  </li>`;
}

const MOST = 4;

function Fields({ fields }) {
  return html`<ul class="fields_of">
    ${fields.slice(0, MOST).map((field) => html`<${Difference} field=${field} />`)}
    ${
      fields.length > MOST &&
      html`<li class="quiet">${t("changes.others", { n: fields.length - MOST })}</li>`
    }
  </ul>`;
}

function Change({ change, fail }) {
  const [isAsking, ask] = useState(false);
  const when = dayAndTime(new Date(change.time));
  const back = () => {
    ask(false);
    return attempt(() => undoChange(change.id, SECONDS), fail);
  };
  return html`<li class="change_of" aria-label=${when}>
    <div>
      <p>
        <strong>${when}</strong>${" "}<span class="quiet">${change.who} · ${change.origin}</span>
        ${
          change.rolled_back &&
          html` <small class="tag">${t("changes.rolled_back")}</small>${" "}
            <small class="quiet" lang="en">${change.rolled_back.why}</small>`
        }
      </p>
      <${Fields} fields=${change.fields} />
    </div>
    ${
      isAsking
        ? html`<${Notice} kind="warn" role="status" actions=${html`<${Button} kind="danger"
          onClick=${back}>${t("changes.yes")}</${Button}><${Button} onClick=${() => ask(false)}>
          ${t("cancel")}</${Button}>`}>
          <p>${t("changes.sure", { n: change.number, seconds: SECONDS })}</p></${Notice}>`
        : html`<${Button} kind="small" onClick=${() => ask(true)}
          aria-label=${t("changes.undo_what", { when })}>${t("changes.undo")}</${Button}>`
    }
  </li>`;
}

export function Changes() {
  useWanted("history", "devices");
  const [problem, fail] = useState(null);
  const { history } = state.loaded;
  return html`<section aria-labelledby="changes">
    <h2 id="changes">${t("changes")}</h2>
    <${ProblemNotice} problem=${problem ?? state.failed.history} />
    ${history?.changes.length === 0 && html`<p class="quiet">${t("changes.none")}</p>`}
    <ol class="changes">
      ${history?.changes.map(
        (change) => html`<${Change} key=${change.id} change=${change} fail=${fail} />`,
      )}
    </ol>
  </section>`;
}
