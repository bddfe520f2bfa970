// SPDX-License-Identifier: Apache-2.0
// The page's address: a path and parameters. Views keep in it what a reader may want to send to
// others or to reach again with the browser's arrows.
import type {ComponentChildren} from "preact";
import {useEffect, useState} from "preact/hooks";

const listeners = new Set<() => void>();

function moved(): void {
  for (const listener of [...listeners]) listener();
}

// The browser would scroll before a view has loaded what it shows.
history.scrollRestoration = "manual";

const ARRIVAL = 5_000;  // milliseconds in which a view reaches the height that it had
const SCROLL_PAUSE = 150;

// Where the reader left the fleet.
let fleet = {address: "/", scroll: 0};
let endArrival = () => {};

// Keeps in the history how far down the reader is.
function keepScroll(): void {
  history.replaceState({scroll: scrollY}, "");
  if (applianceOf(location.pathname) === undefined) {
    fleet = {address: location.pathname + location.search, scroll: scrollY};
  }
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

interface LinkProps {
  to: string;
  scroll?: number;  // where a new view begins
  class?: string;
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

// Goes where the reader left the fleet.
export const goToFleet = () => go(fleet.address, false, fleet.scroll);

// Leads to the fleet as the reader left it; from the fleet to the whole of it.
export function FleetLink(rest: Omit<LinkProps, "to" | "scroll">) {
  const {path} = useAddress();
  if (applianceOf(path) === undefined) return <Link to="/" {...rest} />;
  return <Link to={fleet.address} scroll={fleet.scroll} {...rest} />;
}
