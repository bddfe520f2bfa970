// SPDX-License-Identifier: Apache-2.0
// The service's stream of changes. It is kept open, and opened again when it ends.
import {useEffect, useState} from "preact/hooks";
import {ApiError, request} from "./api";

export interface Change {
  type: string;  // "appliance", "event", "resource", "gone", "more": anything of the appliance may
                 // have changed, and "reset": anything may
  uuid: string;  // empty for "reset"
}

export type Link =
  | {state: "connecting"}
  | {state: "live"}
  | {state: "lost"; retryAt: number};  // milliseconds of the reader's clock

const SILENCE = 50_000;  // milliseconds; the service writes to the stream at least every 15 s
const FIRST_PAUSE = 1_000;
const LONGEST_PAUSE = 30_000;

const changeListeners = new Set<(change: Change) => void>();
const linkListeners = new Set<(link: Link) => void>();
let link: Link = {state: "connecting"};
let opened: AbortController | undefined;
let endPause = () => {};

function setLink(next: Link): void {
  link = next;
  for (const listener of [...linkListeners]) listener(next);
}

function tell(change: Change): void {
  for (const listener of [...changeListeners]) listener(change);
}

function take(block: string): void {
  let type = "message";
  const data: string[] = [];
  for (const line of block.split("\n")) {
    const [, name, value] = line.match(/^(\w+):? ?(.*)$/) ?? [];
    if (name === "event") type = value ?? "";
    if (name === "data") data.push(value ?? "");
  }
  if (type === "reset") return tell({type, uuid: ""});
  if (data.length === 0) return;
  try {
    tell({type, uuid: String(JSON.parse(data.join("\n")).uuid ?? "")});
  } catch {
    tell({type: "reset", uuid: ""});
  }
}

async function follow(body: ReadableStream<Uint8Array<ArrayBuffer>>, stop: AbortController): Promise<void> {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = "";
  for (;;) {
    const timer = setTimeout(() => stop.abort(), SILENCE);
    const {done, value} = await reader.read().finally(() => clearTimeout(timer));
    if (done) return;
    const blocks = (rest + value).replaceAll("\r\n", "\n").split("\n\n");
    rest = blocks.pop() ?? "";
    blocks.forEach(take);
  }
}

const pause = (time: number) => new Promise<void>((resolve) => {
  const timer = setTimeout(resolve, time);
  endPause = () => {
    clearTimeout(timer);
    resolve();
  };
});

async function run(stop: AbortController): Promise<void> {
  let wait = FIRST_PAUSE;
  while (!stop.signal.aborted) {
    const attempt = new AbortController();
    stop.signal.addEventListener("abort", () => attempt.abort(), {once: true});
    try {
      const answer = await request("/stream", {
        headers: {Accept: "text/event-stream"},
        signal: attempt.signal,
      });
      wait = FIRST_PAUSE;
      setLink({state: "live"});
      // Changes while the stream was closed are not known.
      tell({type: "reset", uuid: ""});
      if (answer.body) await follow(answer.body, attempt);
    } catch (fault) {
      if (fault instanceof ApiError && fault.status === 401) return;
    }
    if (stop.signal.aborted) return;
    const time = wait * (0.8 + 0.4 * Math.random());
    setLink({state: "lost", retryAt: Date.now() + time});
    await pause(time);
    wait = Math.min(2 * wait, LONGEST_PAUSE);
  }
}

export function openStream(): void {
  opened?.abort();
  opened = new AbortController();
  setLink({state: "connecting"});
  void run(opened);
}

export function closeStream(): void {
  opened?.abort();
  endPause();
}

export function retryNow(): void {
  endPause();
}

window.addEventListener("online", retryNow);

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
