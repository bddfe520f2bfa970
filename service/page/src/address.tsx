// SPDX-License-Identifier: Apache-2.0
// The page's address: a path and parameters. Views keep in it what a reader may want to send to
// others or to reach again with the browser's arrows.
import type {ComponentChildren} from "preact";
import {useEffect, useState} from "preact/hooks";

const listeners = new Set<() => void>();

function moved(): void {
  for (const listener of [...listeners]) listener();
}

window.addEventListener("popstate", moved);

export function go(address: string, replace = false): void {
  if (replace) history.replaceState(null, "", address);
  else history.pushState(null, "", address);
  moved();
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
  class?: string;
  children: ComponentChildren;
}

export function Link({to, children, ...rest}: LinkProps) {
  const onClick = (event: MouseEvent) => {
    const own = event.button === 0 && !event.metaKey && !event.ctrlKey && !event.shiftKey && !event.altKey;
    if (!own) return;
    event.preventDefault();
    go(to);
    window.scrollTo(0, 0);
  };
  return <a href={to} onClick={onClick} {...rest}>{children}</a>;
}
