/* The page's beginning: finds the session, then shows what the address names. */
import { render } from "preact";
import { useEffect } from "preact/hooks";
import { findSession } from "./api.js";
import { explainLost, giveUpApply } from "./change.js";
import { Frame, showTheme } from "./components/frame.js";
import { FirstPassword, LogIn } from "./components/login.js";
import { followOtherTabs, readKept } from "./draft.js";
import { html } from "./html.js";
import { onReload, onReturn, start, stop } from "./live.js";
import { pages } from "./pages/pages.js";
import { usePlace } from "./router.js";
import { state, useStore } from "./store.js";

function Page({ at }) {
  const name = at.steps[0] ?? "overview";
  const page = pages[name] ?? pages.overview;
  useEffect(() => {
    scrollTo(0, 0);
  }, [at.steps.join("/")]);
  return html`<${page} at=${at} key=${at.steps.join("/")} />`;
}

function App() {
  useStore();
  const at = usePlace();
  const { session } = state;
  const isOpen = Boolean(session && !session.must_change_password);
  useEffect(() => {
    if (!isOpen) return undefined;
    start();
    return stop;
  }, [isOpen]);
  if (session === undefined) return null;
  // A page whose session has ended stays as it is, unseen: what was typed is there after the next log-in.
  return html` ${!session && html`<${LogIn} />`}
  ${session?.must_change_password && html`<${FirstPassword} />`}
  ${
    (isOpen || (!session && state.hadSession)) &&
    html`<div class="app" hidden=${!isOpen}>
    <${Frame} at=${at}><${Page} at=${at} /></${Frame}></div>`
  }`;
}

showTheme();
readKept();
followOtherTabs();
onReload(explainLost);
onReturn(giveUpApply);
render(html`<${App} />`, document.body);
findSession();
