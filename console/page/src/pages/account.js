/* The password, this session, and the tokens of programs. */
import { useEffect, useState } from "preact/hooks";
import { get, load, post, request } from "../api.js";
import { attempt } from "../change.js";
import { ChangePassword } from "../components/login.js";
import { Button, Field, Heading, Notice, ProblemNotice, Table } from "../components/parts.js";
import { clockTime, gatewayNow } from "../format.js";
import { html } from "../html.js";
import { useWanted } from "../live.js";
import { state, update } from "../store.js";
import { t } from "../words/words.js";

const SCOPES = ["read", "plan", "apply"];

function Session() {
  const { session } = state;
  useEffect(() => {
    get("session").then(
      ({ body }) => update({ session: body }),
      () => {},
    );
  }, []);
  if (!session) return null;
  const end = new Date(gatewayNow().getTime() + session.seconds_left * 1000);
  return html`<section aria-labelledby="session">
    <h2 id="session">${t("session")}</h2>
    <p>
      ${t("session.times", { minutes: Math.round(session.idle_seconds / 60), end: clockTime(end) })}
    </p>
  </section>`;
}

function NewToken() {
  const [name, setName] = useState("");
  const [scope, setScope] = useState("read");
  const [made, setMade] = useState(null);
  const [problem, fail] = useState(null);
  const send = async (event) => {
    event.preventDefault();
    await attempt(async () => {
      setMade((await post("tokens", { name, scope })).body);
      setName("");
      await load("tokens");
    }, fail);
  };
  return html`<form onSubmit=${send} noValidate><h3>${t("token.new")}</h3>
    <div class="fields">
      <${Field} label=${t("token.name")}>${(control) =>
        html`<input
          ...${control}
          type="text"
          value=${name}
          autocomplete="off"
          onInput=${(event) => setName(event.target.value)}
        />`}
        </${Field}>
      <${Field} label=${t("token.scope")}>${(control) =>
        html`<select
          ...${control}
          value=${scope}
          onChange=${(event) => setScope(event.target.value)}
        >
          ${SCOPES.map((one) => html`<option value=${one}>${t(`scope.${one}`)}</option>`)}
        </select>`}</${Field}>
      <div class="actions"><button class="primary">${t("token.make")}</button></div>
    </div>
    <${ProblemNotice} problem=${problem} />
    ${
      made &&
      html`<${Notice} kind="fine" role="status"><p>${t("token.once", { name: made.name })}
      </p><p><code class="secret">${made.token}</code></p></${Notice}>`
    }
  </form>`;
}

function Tokens() {
  useWanted("tokens");
  const [problem, fail] = useState(null);
  const remove = (id) =>
    attempt(async () => {
      await request("DELETE", `tokens/${id}`);
      await load("tokens");
    }, fail);
  const rows = (state.loaded.tokens?.tokens ?? []).map((one) => ({
    key: one.id,
    cells: [
      one.name,
      t(`scope.${one.scope}`),
      html`<${Button} kind="small" onClick=${() => remove(one.id)}
        aria-label=${t("remove_what", { what: one.name })}>${t("remove")}</${Button}>`,
    ],
  }));
  return html`<section aria-labelledby="tokens">
    <h2 id="tokens">${t("tokens")}</h2>
    <p class="lead">${t("tokens.lead")}</p>
    <${Table}
      caption=${html`<span class="hidden">${t("tokens")}</span>`}
      columns=${[{ label: t("token.name") }, { label: t("token.scope") }, { label: t("actions"), kind: "last" }]}
      rows=${rows}
      empty=${t("tokens.none")}
    />
    <${ProblemNotice} problem=${problem ?? state.failed.tokens} />
    <${NewToken} />
  </section>`;
}

export function Account() {
  const [isDone, done] = useState(false);
  return html`<${Heading}>${t("page.account")}</${Heading}>
    <section aria-labelledby="password"><h2 id="password">${t("password.change")}</h2>
      <${ChangePassword} onDone=${() => done(true)} />
      ${
        isDone &&
        html`<${Notice} kind="fine" role="status"><p>${t("password.done")}</p>
        </${Notice}>`
      }</section>
    <${Session} />
    <${Tokens} />`;
}
