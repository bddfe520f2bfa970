// SPDX-License-Identifier: Apache-2.0
// The page's address: a path and parameters. Views keep in it what a reader may want to send to
// others or to reach again with the browser's arrows.
import type {ComponentChildren} from "preact";
import {useEffect, useState} from "preact/hooks";
import {Icon} from "./icons";

const listeners = new Set<() => void>();

function moved(): void {
  for (const listener of [...listeners]) listener();
}

// The browser would scroll before a view has loaded what it shows.
history.scrollRestoration = "manual";

const ARRIVAL = 5_000;  // milliseconds in which a view reaches the height that it had
const SCROLL_PAUSE = 150;

// The views over all appliances.
export const VIEWS = {"/": "Fleet", "/alarms": "Alarms", "/events": "Events"} as const;
export type View = keyof typeof VIEWS;

// Where the reader left each of them, and which one last.
const left: Partial<Record<View, {address: string; scroll: number}>> = {};
let lastView: View = "/";
let endArrival = () => {};

// Keeps in the history how far down the reader is.
function keepScroll(): void {
  history.replaceState({scroll: scrollY}, "");
  const view = viewOf(location.pathname);
  if (!view) return;
  left[view] = {address: location.pathname + location.search, scroll: scrollY};
  lastView = view;
}

// Scrolls as soon as the view is high enough, unless the reader does something first.
function arriveAt(scroll: number): void {
  endArrival();
  const watcher = new ResizeObserver(() => {
    window.scrollTo(0, scroll);
    if (Math.abs(scrollY - scroll) <= 1) endArrival();
  });
  const timer = setTimeout(() => endArrival(), ARRIVAL);
  const hands = ["wheel", "touchstart", "keydown", "pointerdown"];
  endArrival = () => {
    watcher.disconnect();
    clearTimeout(timer);
    hands.forEach((name) => window.removeEventListener(name, endArrival));
    endArrival = () => {};
  };
  hands.forEach((name) => window.addEventListener(name, endArrival, {passive: true}));
  watcher.observe(document.body);
}

let scrolled: number | undefined;
window.addEventListener("scroll", () => {
  clearTimeout(scrolled);
  scrolled = window.setTimeout(keepScroll, SCROLL_PAUSE);
}, {passive: true});

window.addEventListener("popstate", () => {
  clearTimeout(scrolled);
  moved();
  arriveAt(history.state?.scroll ?? 0);
});

arriveAt(history.state?.scroll ?? 0);

// Goes to an address of this page. A new path begins at `scroll`; below the same path the reader
// stays where he is.
export function go(address: string, replace = false, scroll = 0): void {
  const elsewhere = new URL(address, location.href).pathname !== location.pathname;
  clearTimeout(scrolled);
  if (replace) {
    history.replaceState(history.state, "", address);
  } else {
    keepScroll();
    history.pushState(null, "", address);
  }
  moved();
  if (elsewhere) arriveAt(scroll);
}

export function useAddress(): {path: string; query: URLSearchParams} {
  const [, draw] = useState({});
  useEffect(() => {
    const listener = () => draw({});
    listeners.add(listener);
    return () => void listeners.delete(listener);
  }, []);
  return {path: location.pathname, query: new URLSearchParams(location.search)};
}

// The address with some of its parameters changed; parameters with an empty value are left out.
export function addressWith(changes: Record<string, string>): string {
  const query = new URLSearchParams(location.search);
  for (const [name, value] of Object.entries(changes)) {
    if (value) query.set(name, value);
    else query.delete(name);
  }
  const text = query.toString();
  return location.pathname + (text ? `?${text}` : "");
}

export const applianceAddress = (uuid: string) => `/appliances/${encodeURIComponent(uuid)}`;

// The UUID in the path of an appliance's view.
export function applianceOf(path: string): string | undefined {
  const [, text] = path.match(/^\/appliances\/([^/]+)$/) ?? [];
  try {
    return text && decodeURIComponent(text);
  } catch {
    return text;
  }
}

// The view over all appliances that a path leads to, unless it leads to one of them.
export function viewOf(path: string): View | undefined {
  if (applianceOf(path) !== undefined) return undefined;
  return path in VIEWS ? path as View : "/";
}

interface LinkProps {
  to: string;
  scroll?: number;  // where a new view begins
  class?: string;
  "aria-current"?: "page";
  children: ComponentChildren;
}

export function Link({to, scroll = 0, children, ...rest}: LinkProps) {
  const onClick = (event: MouseEvent) => {
    const own = event.button === 0 && !event.metaKey && !event.ctrlKey && !event.shiftKey && !event.altKey;
    if (!own) return;
    event.preventDefault();
    go(to, false, scroll);
  };
  return <a href={to} onClick={onClick} {...rest}>{children}</a>;
}

const placeOf = (view: View) => left[view] ?? {address: view, scroll: 0};

// Goes where the reader came from to an appliance.
export function goBack(): void {
  const {address, scroll} = placeOf(lastView);
  go(address, false, scroll);
}

// Leads to a view as the reader left it; from the view to the whole of it.
export function ViewLink({view, ...rest}: Omit<LinkProps, "to" | "scroll"> & {view: View}) {
  const {path} = useAddress();
  if (viewOf(path) === view) return <Link to={view} aria-current="page" {...rest} />;
  const {address, scroll} = placeOf(view);
  return <Link to={address} scroll={scroll} {...rest} />;
}

// Leads from an appliance to where the reader came from.
export function BackLink() {
  return <ViewLink view={lastView} class="back"><Icon name="back" />{VIEWS[lastView]}</ViewLink>;
}
