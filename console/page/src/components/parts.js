/* Small parts that all pages are made of. A state is a word and a shape, never a colour alone. */
import { useEffect, useId, useRef, useState } from "preact/hooks";
import { html } from "../html.js";
import { has, t } from "../words/words.js";

const SHAPES = { fine: "■", warn: "▲", stop: "✕", info: "●", off: "□" };

export function Mark({ kind, children }) {
  return html`<span class="mark ${kind}"
    ><span class="shape" aria-hidden="true">${SHAPES[kind]}</span>${" "}${children}</span
  >`;
}

export function Notice({ kind = "info", role, children, actions }) {
  return html`<div class="notice ${kind}" role=${role}>
    <span class="shape" aria-hidden="true">${SHAPES[kind]}</span>
    <div class="says">${children}</div>
    ${actions && html`<div class="actions">${actions}</div>`}
  </div>`;
}

function problemText(problem) {
  return has(`problem.${problem.code}`) ? t(`problem.${problem.code}`) : problem.detail;
}

/* A problem in the API's words; those of the link are ours, for nobody has answered. */
export function ProblemNotice({ problem, actions }) {
  if (!problem) return null;
  const rules = problem.failed_rules ?? [];
  const lines = problem.errors ?? [];
  return html`<${Notice} kind="stop" role="alert" actions=${actions}>
    <p>${problemText(problem)}</p>
    ${
      (lines.length > 0 || rules.length > 0) &&
      html`<ul lang="en">
        ${lines.map(
          (one) => html`<li>${one.path && html`<code>${one.path}</code>`} ${one.message}</li>`,
        )}
        ${rules.map(
          (one) =>
            html`<li>${one.setting && html`<code>${one.setting} </code>`} ${one.message}</li>`,
        )}
      </ul>`
    }
  </${Notice}>`;
}

/* A labelled control. Its faults are the API's messages, beside it and read with it. */
export function Field({ label, hint, faults = [], children, wide }) {
  const id = useId();
  const described = [hint && `${id}-hint`, faults.length > 0 && `${id}-fault`]
    .filter(Boolean)
    .join(" ");
  return html`<div class="field ${wide ? "wide" : ""} ${faults.length ? "wrong" : ""}">
    <label for=${id}>${label}</label>
    ${children({ id, "aria-describedby": described || undefined, "aria-invalid": faults.length > 0 ? "true" : undefined })}
    ${hint && html`<p class="hint" id="${id}-hint">${hint}</p>`}
    ${
      faults.length > 0 &&
      html`<p class="fault" id="${id}-fault" lang="en">${faults.join("; ")}</p>`
    }
  </div>`;
}

export function Switch({ label, on, onChange, describedby }) {
  return html`<label class="switch">
    <input
      type="checkbox"
      role="switch"
      checked=${on}
      onChange=${(event) => onChange(event.target.checked)}
      aria-describedby=${describedby}
    />
    <span class="track" aria-hidden="true"></span>
    <span>${label}</span>
    <span class="quiet" aria-hidden="true">${on ? t("on") : t("off")}</span>
  </label>`;
}

/* The page's heading: it has the focus after a change of page, so that a reader begins there. */
export function Heading({ children, aside }) {
  const ref = useRef();
  const title = typeof children === "string" ? children : "";
  useEffect(() => {
    document.title = `${title} · ${t("gateway")}`;
    // After an apply the focus is on the button that keeps it.
    if (document.body.dataset.moved && document.activeElement?.id !== "keep") ref.current.focus();
  }, [title]);
  return html`<div class="heading">
    <h1 tabindex="-1" ref=${ref}>${children}</h1>
    ${aside}
  </div>`;
}

/* A table that becomes labelled rows on a narrow screen. */
export function Table({ caption, columns, rows, empty }) {
  if (!rows.length) return html`<p class="quiet">${empty}</p>`;
  return html`<table>
    <caption>
      ${caption}
    </caption>
    <thead>
      <tr>
        ${columns.map((column) => html`<th scope="col" class=${column.kind}>${column.label}</th>`)}
      </tr>
    </thead>
    <tbody>
      ${rows.map(
        (row) =>
          html`<tr key=${row.key} class=${row.kind}>
            ${
              row.wide
                ? html`<td colspan=${columns.length}>${row.wide}</td>`
                : row.cells.map(
                    (cell, i) =>
                      html`<td data-label=${columns[i].label} class=${columns[i].kind}>
                        ${cell}
                      </td>`,
                  )
            }
          </tr>`,
      )}
    </tbody>
  </table>`;
}

/* A button whose action runs once at a time. */
export function Button({ onClick, kind = "", children, ...rest }) {
  const [isBusy, setBusy] = useState(false);
  const isThere = useRef(true);
  useEffect(() => () => (isThere.current = false), []);
  const click = async (event) => {
    if (isBusy) return;
    setBusy(true);
    try {
      await onClick(event);
    } finally {
      if (isThere.current) setBusy(false);
    }
  };
  return html`<button
    type="button"
    class=${kind}
    aria-busy=${isBusy ? "true" : undefined}
    onClick=${click}
    ...${rest}
  >
    ${children}
  </button>`;
}
