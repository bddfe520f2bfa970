// SPDX-License-Identifier: Apache-2.0
// Light, dark, or as the reader's system has it.
import {useEffect, useState} from "preact/hooks";

export type Theme = "auto" | "light" | "dark";

const KEY = "theme";
const listeners = new Set<() => void>();
const system = matchMedia("(prefers-color-scheme: dark)");

function stored(): Theme {
  try {
    const value = localStorage.getItem(KEY);
    if (value === "light" || value === "dark") return value;
  } catch {
    // A browser that keeps nothing shows what the system has.
  }
  return "auto";
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
  try {
    if (next === "auto") localStorage.removeItem(KEY);
    else localStorage.setItem(KEY, next);
  } catch {
    // It holds until the page is left, then.
  }
  apply();
}

// What is chosen, and whether it comes out dark.
export function useTheme(): {theme: Theme; dark: boolean} {
  const [, draw] = useState({});
  useEffect(() => {
    const listener = () => draw({});
    listeners.add(listener);
    return () => void listeners.delete(listener);
  }, []);
  return {theme, dark: theme === "dark" || (theme === "auto" && system.matches)};
}
