// SPDX-License-Identifier: Apache-2.0
// What this browser keeps for the reader, or only this tab.

type Place = () => Storage;  // throws in a browser that stores nothing

const browser: Place = () => localStorage;
export const tab: Place = () => sessionStorage;  // until it is closed

export function recall(key: string, place = browser): string | null {
  try {
    return place().getItem(key);
  } catch {
    return null;
  }
}

export function remember(key: string, value: string | null, place = browser): void {
  try {
    if (value === null) place().removeItem(key);
    else place().setItem(key, value);
  } catch {
    // The choice then lasts until the page is left.
  }
}
