// SPDX-License-Identifier: Apache-2.0
// The colour theme: light, dark, or that of the reader's system.
import {useEffect, useState} from "preact/hooks";
import {recall, remember} from "./store";

export type Theme = "auto" | "light" | "dark";

const KEY = "theme";
const listeners = new Set<() => void>();
const system = matchMedia("(prefers-color-scheme: dark)");

function stored(): Theme {
  const value = recall(KEY);
  return value === "light" || value === "dark" ? value : "auto";
}

let theme = stored();

function apply(): void {
  document.documentElement.dataset["theme"] = theme;
  for (const listener of [...listeners]) listener();
}

apply();
system.addEventListener("change", apply);

export function setTheme(next: Theme): void {
  theme = next;
  remember(KEY, next === "auto" ? null : next);
  apply();
}

// The chosen theme, and whether it is a dark one on this system.
export function useTheme(): {theme: Theme; dark: boolean} {
  const [, draw] = useState({});
  useEffect(() => {
    const listener = () => draw({});
    listeners.add(listener);
    return () => void listeners.delete(listener);
  }, []);
  return {theme, dark: theme === "dark" || (theme === "auto" && system.matches)};
}
