// SPDX-License-Identifier: Apache-2.0
// What this tab hears of changes. The tabs of a browser share one stream: a lock elects the tab that
// holds it, and that one tells the others. When it closes, the lock goes to another; when it tells
// nothing any more, a tab that is looked at takes the stream.
import {useEffect, useState} from "preact/hooks";
import {type Change, follow, type Link, type Listener, retry} from "./stream";

// What tabs tell each other.
type Word =
  | {say: "change"; change: Change}
  | {say: "link"; link: Link}
  | {say: "ask"}     // a tab wants to know the link
  | {say: "retry"}   // a reader wants it tried at once
  | {say: "claim"; by: number}  // without locks: this tab holds the stream
  | {say: "free"};              // without locks: it does no more

const NAME = "stream";
const PATIENCE = 5_000;  // milliseconds in which something is heard, and in which an answer comes
// In which tabs without locks answer each other. Browsers run background timers once a second.
const ATTENTION = 1_200;

const changeListeners = new Set<(change: Change) => void>();
const linkListeners = new Set<(link: Link) => void>();
const me = Math.random();
let link: Link = {state: "connecting"};
let turn: AbortController | undefined;  // ends the wait for the stream, and the hold of it
let held: AbortSignal | undefined;
let channel: BroadcastChannel | undefined;
let silence: number | undefined;

// Browsers have locks only where the connection is safe.
const hasLocks = () => "locks" in navigator;
const holds = () => held !== undefined && !held.aborted;

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

// Expects a word in `wait` milliseconds. A tab that holds the stream and stays silent is asked once,
// since an answer comes also where the browser slows the timers of its background; then it has
// stopped without an end, and the stream is taken.
function expectWords(wait = PATIENCE, asked = false): void {
  clearTimeout(silence);
  silence = window.setTimeout(() => {
    if (wait === PATIENCE && document.hidden) return;
    if (asked) takeTurn(true);
    else ask();
  }, wait);
}

function ask(wait = PATIENCE): void {
  say({say: "ask"});
  expectWords(wait, true);
}

function hear({data}: MessageEvent<Word>): void {
  if (holds()) {
    // By a timer, since a page may hear words but run nothing else any more.
    if (data.say === "ask") setTimeout(() => say({say: "link", link}));
    if (data.say === "retry") retry();
    // Of two that hold it without locks one goes on.
    if (data.say === "claim" && data.by > me) giveWay();
    else if (data.say === "claim") say({say: "claim", by: me});
    return;
  }
  if (data.say === "ask" || data.say === "retry") return;
  if (data.say === "free") return expectWords(ATTENTION * Math.random(), true);
  expectWords();
  if (data.say === "change") tell(data.change);
  if (data.say === "link") setLink(data.link);
}

async function hold(signal: AbortSignal): Promise<void> {
  clearTimeout(silence);
  held = signal;
  // Nobody knows what came after the former holder's last word.
  holder.linked({state: "connecting"});
  await follow(signal, holder);
  if (!signal.aborted) letGo();
}

function letGo(): void {
  if (!holds()) return;
  held = undefined;
  if (!hasLocks()) say({say: "free"});
}

// Waits for the stream, or takes it from whoever has it.
function takeTurn(steal = false): void {
  turn?.abort();
  const {signal} = turn = new AbortController();
  if (!channel) return void hold(signal);
  if (hasLocks()) {
    navigator.locks.request(NAME, steal ? {steal} : {signal}, () => hold(signal)).catch(() => {
      // Refused when it is no longer wanted, or taken.
      if (!signal.aborted) giveWay();
    });
  } else if (steal) {
    say({say: "claim", by: me});
    void hold(signal);
  }
}

// Another tab has taken the stream.
function giveWay(): void {
  takeTurn();
  setLink({state: "connecting"});
  ask();
}

export function openStream(): void {
  closeStream();
  setLink({state: "connecting"});
  if ("BroadcastChannel" in window) {
    channel = new BroadcastChannel(NAME);
    channel.onmessage = hear;
    ask(hasLocks() ? PATIENCE : ATTENTION);
  }
  takeTurn();
}

export function closeStream(): void {
  letGo();
  turn?.abort();
  turn = undefined;
  channel?.close();
  channel = undefined;
  clearTimeout(silence);
}

export function retryNow(): void {
  retry();
  say({say: "retry"});
}

window.addEventListener("online", retryNow);
// A page that the browser keeps for the way back, or has frozen in the background, holds up no other.
function leaveUntil(target: EventTarget, back: string): void {
  if (!turn) return;
  closeStream();
  target.addEventListener(back, openStream, {once: true});
}

window.addEventListener("pagehide", () => leaveUntil(window, "pageshow"));
document.addEventListener("freeze", () => leaveUntil(document, "resume"));
document.addEventListener("visibilitychange", () => {
  if (!document.hidden && channel && !holds()) ask();
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

// Whether the change may concern what a view shows of this appliance, or of all; `types` are the
// types of the changes that tell about it.
export const concerns = (change: Change, uuid: string | undefined, ...types: string[]) =>
  change.type === "reset" || ((uuid === undefined || change.uuid === uuid) &&
                              [...types, "gone", "more"].includes(change.type));

export function useChanges(listener: (change: Change) => void): void {
  useEffect(() => {
    changeListeners.add(listener);
    return () => void changeListeners.delete(listener);
  });
}
