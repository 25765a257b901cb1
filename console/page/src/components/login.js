/* Logging in, and the change of the first password. What was being edited stays in place behind it. */
import { useEffect, useRef, useState } from "preact/hooks";
import { logIn, request } from "../api.js";
import { attempt } from "../change.js";
import { html } from "../html.js";
import { state, update } from "../store.js";
import { t } from "../words/words.js";
import { Choices } from "./frame.js";
import { Field, Notice, ProblemNotice } from "./parts.js";

export function Password({ label, value, onInput, kind = "current-password", hint, focus }) {
  const [isShown, show] = useState(false);
  const ref = useRef();
  useEffect(() => focus && ref.current.focus(), []);
  return html`<${Field} label=${label} hint=${hint}>${(control) =>
    html`<div class="password">
      <input
        ...${control}
        ref=${ref}
        type=${isShown ? "text" : "password"}
        autocomplete=${kind}
        required
        value=${value}
        spellcheck="false"
        autocapitalize="off"
        onInput=${(event) => onInput(event.target.value)}
      />
      <button
        type="button"
        class="plain"
        aria-pressed=${isShown ? "true" : "false"}
        onClick=${() => show(!isShown)}
      >
        ${t("show")}
      </button>
    </div>`}</${Field}>`;
}

export function ChangePassword({ onDone, isFirst }) {
  const [current, setCurrent] = useState("");
  const [next, setNext] = useState("");
  const [problem, fail] = useState(null);
  const send = async (event) => {
    event.preventDefault();
    if (await attempt(() => request("PUT", "password", { current, new: next }), fail)) {
      setCurrent("");
      setNext("");
      onDone();
    }
  };
  return html`<form onSubmit=${send}>
    <${Password}
      label=${t("password.current")}
      value=${current}
      onInput=${setCurrent}
      focus=${isFirst}
    />
    <${Password}
      label=${t("password.new")}
      value=${next}
      onInput=${setNext}
      kind="new-password"
      hint=${t("password.hint")}
    />
    <${ProblemNotice} problem=${problem} />
    <button class="primary">${t("password.change")}</button>
  </form>`;
}

export function LogIn() {
  const [password, setPassword] = useState("");
  const [problem, fail] = useState(null);
  const send = async (event) => {
    event.preventDefault();
    if (await attempt(() => logIn(password), fail)) setPassword("");
  };
  useEffect(() => (document.title = t("log_in")), []);
  return html`<div class="door">
    <main>
      <svg class="shield" viewBox="0 0 16 16" aria-hidden="true">
        <path d="M8 1l6 2v5c0 4-3 6-6 7-3-1-6-3-6-7V3z" />
      </svg>
      <h1>${t("gateway")}</h1>
      ${
        state.hadSession &&
        html`<${Notice} kind="info" role="status"><p>${t("session.ended")}</p>
        </${Notice}>`
      }
      ${
        state.link.isLost &&
        html`<${Notice} kind="stop" role="status"><p>
        ${t("problem.no_answer")}</p></${Notice}>`
      }
      <form onSubmit=${send}>
        <${Password} label=${t("password")} value=${password} onInput=${setPassword} focus />
        <${ProblemNotice} problem=${problem} />
        <button class="primary">${t("log_in")}</button>
      </form>
      <${Choices} />
    </main>
  </div>`;
}

export function FirstPassword() {
  const done = () => update({ session: { ...state.session, must_change_password: false } });
  return html`<div class="door">
    <main>
      <h1>${t("password.first")}</h1>
      <p>${t("password.first_why")}</p>
      <${ChangePassword} onDone=${done} isFirst />
    </main>
  </div>`;
}
