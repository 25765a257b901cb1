/* The last changes and their undo; taking settings out of the gateway and putting them in again. */
import { useState } from "preact/hooks";
import { get, post, Problem } from "../api.js";
import { attempt } from "../change.js";
import { Changes } from "../components/changes.js";
import { Button, Field, Heading, Notice, ProblemNotice } from "../components/parts.js";
import { take } from "../draft.js";
import { html } from "../html.js";
import { reload } from "../live.js";
import { go } from "../router.js";
import { state, update } from "../store.js";
import { t } from "../words/words.js";

/* The largest body that the server takes is its own matter; a file that no gateway writes is not read at all. */
function download(name, content, type) {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([content], { type }));
  link.download = name;
  link.click();
  URL.revokeObjectURL(link.href);
}

const bytesOf = (base64) => Uint8Array.from(atob(base64), (one) => one.charCodeAt(0));

function base64Of(buffer) {
  let text = "";
  for (const byte of new Uint8Array(buffer)) text += String.fromCharCode(byte);
  return btoa(text);
}

function FileField({ label, hint, accept, onChange }) {
  return html`<${Field} label=${label} hint=${hint}>${(control) =>
    html`<input
      ...${control}
      type="file"
      accept=${accept}
      onChange=${(event) => onChange(event.target.files[0] ?? null)}
    />`}</${Field}>`;
}

function Backup() {
  const [problem, fail] = useState(null);
  const save = () =>
    attempt(
      async () =>
        download(
          "l3_advance.dat",
          bytesOf((await get("backup")).body.backup),
          "application/octet-stream",
        ),
      fail,
    );
  return html`<section aria-labelledby="backup"><h2 id="backup">${t("backup")}</h2><p
    class="lead">${t("backup.lead")}</p>
    <${Button} onClick=${save}>${t("backup.save")}</${Button}><${ProblemNotice}
      problem=${problem} /></section>`;
}

function Restore() {
  const [file, setFile] = useState(null);
  const [isAsking, ask] = useState(false);
  const [problem, fail] = useState(null);
  const restore = async () => {
    ask(false);
    await attempt(async () => {
      const { body } = await post("restore", { backup: base64Of(await file.arrayBuffer()) });
      update({ outcome: { kind: "restored", words: body.done } });
      await reload();
    }, fail);
  };
  return html`<section aria-labelledby="restore">
    <h2 id="restore">${t("restore")}</h2>
    <${FileField} label=${t("restore.file")} hint=${t("restore.hint")} onChange=${setFile} />
    ${
      isAsking
        ? html`<${Notice} kind="warn" role="status" actions=${html`<${Button} kind="danger"
          onClick=${restore}>${t("restore.yes")}</${Button}><${Button}
          onClick=${() => ask(false)}>${t("cancel")}</${Button}>`}><p>${t("restore.sure")}</p>
          </${Notice}>`
        : html`<${Button} disabled=${!file} onClick=${() => ask(true)}>${t("restore")}</${Button}>`
    }
    <${ProblemNotice} problem=${problem} />
  </section>`;
}

/* Settings of a file become the draft, once the gateway finds nothing wrong with them. */
function Import() {
  const [problem, fail] = useState(null);
  const read = async (file) => {
    if (!file) return;
    const done = await attempt(async () => {
      let settings;
      try {
        settings = JSON.parse(await file.text());
      } catch (fault) {
        throw new Problem({ code: "not_settings", detail: fault.message });
      }
      await post("plan", settings);
      take({ ...state.loaded.settings, ...settings });
    }, fail);
    if (done) go("review");
  };
  return html`<section aria-labelledby="import">
    <h2 id="import">${t("import")}</h2>
    <${FileField}
      label=${t("import.file")}
      hint=${t("import.hint")}
      accept=".json,application/json"
      onChange=${read}
    />
    <${ProblemNotice} problem=${problem} />
  </section>`;
}

function Export() {
  const save = () =>
    download(
      "settings.json",
      `${JSON.stringify(state.loaded.settings, null, 2)}\n`,
      "application/json",
    );
  return html`<section aria-labelledby="export"><h2 id="export">${t("export")}</h2><p
    class="lead">${t("export.lead")}</p>
    <${Button} disabled=${!state.loaded.settings} onClick=${save}>${t("export.save")}</${Button}>
      </section>`;
}

export function History() {
  return html`<${Heading}>${t("page.history")}</${Heading}>
    <${Changes} />
    <div class="panels even"><${Export} /><${Import} /><${Backup} /><${Restore} /></div>`;
}
