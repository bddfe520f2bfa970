// SPDX-License-Identifier: Apache-2.0
// The frame around every view: its head and its notices.
import type {ComponentChildren} from "preact";
import {useEffect} from "preact/hooks";
import {type View, ViewLink, VIEWS} from "./address";
import {api, ApiError, type Session} from "./api";
import {durationText, useTick} from "./format";
import {Icon} from "./icons";
import {retryNow, useLink} from "./live";
import {News} from "./news";
import {setTheme, useTheme, type Theme} from "./theme";

const NEXT: Record<Theme, Theme> = {auto: "light", light: "dark", dark: "auto"};
const THEME_TEXT: Record<Theme, string> = {auto: "as the system has it", light: "light", dark: "dark"};

function ThemeSwitch() {
  const {theme} = useTheme();
  const text = `Colours: ${THEME_TEXT[theme]}`;
  return (
    <button class="quiet round" id="theme" aria-label={text} title={text}
            onClick={() => setTheme(NEXT[theme])}>
      <Icon name={theme} />
    </button>
  );
}

function LinkState() {
  const link = useLink();
  useTick();
  if (link.state === "live") {
    return <span class="link live" role="status" title="Changes appear as they happen">
      <span class="dot" aria-hidden="true" />Live
    </span>;
  }
  return <span class="link" role="status">
    {link.state === "lost" ? <><Icon name="broken" />Disconnected</> : "Connecting"}
  </span>;
}

// Says that the stream is lost, and that the shown data may be old until it is back.
function LostNotice() {
  const link = useLink();
  useTick();
  if (link.state !== "lost") return null;
  const left = Math.max(0, Math.ceil((link.retryAt - Date.now()) / 1000));
  return (
    <section class="lost" aria-label="Connection">
      <p><Icon name="broken" /><span>The connection is lost: what you see may be out of date. </span>
        <span class="muted">{left > 0 ? `Next attempt in ${durationText(left)}.` : "Trying again."}</span></p>
      <button onClick={retryNow}>Try now</button>
    </section>
  );
}

function focusMain(event: Event): void {
  event.preventDefault();
  document.getElementById("main")?.focus();
}

function focusSearch(event: KeyboardEvent): void {
  const at = event.target as HTMLElement;
  const typing = at.isContentEditable || /^(INPUT|SELECT|TEXTAREA)$/.test(at.tagName);
  if (event.key !== "/" || typing || event.ctrlKey || event.metaKey || event.altKey) return;
  const search = document.querySelector<HTMLInputElement>("input[type=search]");
  if (!search) return;
  event.preventDefault();
  search.focus();
  search.select();
}

function Views() {
  const [fleet, ...others] = Object.keys(VIEWS) as View[];
  return (
    <nav class="views" aria-label="Views">
      <ViewLink view={fleet!} class="home">
        <span class="brand"><Icon name="mark" /></span><span class="view">{VIEWS[fleet!]}</span>
      </ViewLink>
      {others.map((view) => <ViewLink key={view} view={view} class="view">{VIEWS[view]}</ViewLink>)}
    </nav>
  );
}

interface FrameProps {
  session: Session;
  signedOut: () => void;
  children: ComponentChildren;
}

export function Frame({session, signedOut, children}: FrameProps) {
  useEffect(() => {
    document.addEventListener("keydown", focusSearch);
    return () => document.removeEventListener("keydown", focusSearch);
  }, []);
  const signOut = () => {
    api.signOut().then(signedOut, (fault) => {
      if (!(fault instanceof ApiError && fault.status === 401)) window.alert(fault.message);
    });
  };
  return (
    <>
      <a class="skip" href="#main" onClick={focusMain}>Skip to content</a>
      <header class="top">
        <div class="wide">
          <Views />
          <LinkState />
          <span class="spring" />
          <ThemeSwitch />
          <span class="who muted" title="Signed in">{session.name}</span>
          <button class="quiet" onClick={signOut}>Sign out</button>
        </div>
      </header>
      <LostNotice />
      <News />
      <main id="main" class="wide" tabIndex={-1}>{children}</main>
      <footer class="wide muted">
        <span>cloudservice {session.version}</span>
        <a href="/api/v1/openapi.json?pretty">API</a>
        <a href={document.body.dataset["licenses"]}>Licences</a>
      </footer>
    </>
  );
}
