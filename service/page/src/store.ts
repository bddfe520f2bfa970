// SPDX-License-Identifier: Apache-2.0
// What this browser keeps for the reader.

export function recall(key: string): string | null {
  try {
    return localStorage.getItem(key);
  } catch {
    return null;  // a browser that stores nothing
  }
}

export function remember(key: string, value: string | null): void {
  try {
    if (value === null) localStorage.removeItem(key);
    else localStorage.setItem(key, value);
  } catch {
    // The choice then lasts until the page is left.
  }
}
