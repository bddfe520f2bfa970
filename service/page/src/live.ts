// SPDX-License-Identifier: Apache-2.0
// What this tab hears of changes. The tabs of a browser share one stream: a lock elects the tab that
// holds it, and that one tells the others. When it closes, the lock goes to another.
import {useEffect, useState} from "preact/hooks";
import {type Change, follow, type Link, type Listener, retry, SILENCE} from "./stream";

// What tabs tell each other.
type Word =
  | {say: "change"; change: Change}
  | {say: "link"; link: Link}
  | {say: "ask"}     // a tab that has come wants to know the link
  | {say: "retry"};  // a reader wants it tried at once

const NAME = "stream";

const changeListeners = new Set<(change: Change) => void>();
const linkListeners = new Set<(link: Link) => void>();
let link: Link = {state: "connecting"};
let opened: AbortController | undefined;
let channel: BroadcastChannel | undefined;
let holds = false;  // this tab has the stream
let silence: number | undefined;

function tell(change: Change): void {
  for (const listener of [...changeListeners]) listener(change);
}

function setLink(next: Link): void {
  if (next.state === "live" && link.state === "live") return;
  link = next;
  for (const listener of [...linkListeners]) listener(next);
  // Changes while there was no stream are not known.
  if (next.state === "live") tell({type: "reset", uuid: ""});
}

const say = (word: Word) => channel?.postMessage(word);

const holder: Listener = {
  changed: (change) => {
    say({say: "change", change});
    tell(change);
  },
  linked: (next) => {
    say({say: "link", link: next});
    setLink(next);
  },
  alive: () => say({say: "link", link}),
};

// A tab that holds the stream and has stopped without an end, as one that the browser has frozen,
// tells nothing any more.
function expectWords(): void {
  clearTimeout(silence);
  silence = window.setTimeout(() => setLink({state: "lost", retryAt: Date.now()}), SILENCE);
}

function hear({data}: MessageEvent<Word>): void {
  if (holds) {
    if (data.say === "ask") say({say: "link", link});
    if (data.say === "retry") retry();
    return;
  }
  if (data.say === "ask" || data.say === "retry") return;
  expectWords();
  if (data.say === "change") tell(data.change);
  else setLink(data.link);
}

async function hold(signal: AbortSignal): Promise<void> {
  clearTimeout(silence);
  holds = true;
  // Nobody knows what came after the former holder's last word.
  holder.linked({state: "connecting"});
  await follow(signal, holder);
  holds = false;
}

export function openStream(): void {
  closeStream();
  const {signal} = opened = new AbortController();
  setLink({state: "connecting"});
  // Browsers have locks only where the connection is safe.
  if (!("locks" in navigator) || !("BroadcastChannel" in window)) return void hold(signal);
  channel = new BroadcastChannel(NAME);
  channel.onmessage = hear;
  expectWords();
  say({say: "ask"});
  // Refused only when it is no longer wanted.
  navigator.locks.request(NAME, {signal}, () => hold(signal)).catch(() => {});
}

export function closeStream(): void {
  opened?.abort();
  opened = undefined;
  channel?.close();
  channel = undefined;
  clearTimeout(silence);
}

export function retryNow(): void {
  retry();
  say({say: "retry"});
}

window.addEventListener("online", retryNow);
// A page that the browser keeps for the way back holds up no other.
window.addEventListener("pagehide", () => {
  if (!opened) return;
  closeStream();
  window.addEventListener("pageshow", openStream, {once: true});
});

export function useLink(): Link {
  const [seen, setSeen] = useState(link);
  useEffect(() => {
    setSeen(link);
    linkListeners.add(setSeen);
    return () => void linkListeners.delete(setSeen);
  }, []);
  return seen;
}

// Whether the change may concern what a view shows of this appliance; `type` is the type of the
// changes that tell about it.
export const concerns = (change: Change, uuid: string, type: string) =>
  change.type === "reset" || (change.uuid === uuid && [type, "gone", "more"].includes(change.type));

export function useChanges(listener: (change: Change) => void): void {
  useEffect(() => {
    changeListeners.add(listener);
    return () => void changeListeners.delete(listener);
  });
}
