// SPDX-License-Identifier: Apache-2.0
// What screen readers are told of changes, and the count of open alarms in the title.
import {useEffect, useState} from "preact/hooks";
import {type AlarmCounts, api} from "./api";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";

const SPACING = 5_000;  // milliseconds between two messages, so that one can be heard out
const MOST = 3;         // parts of a message

let waiting: string[] = [];
let last = -Infinity;
let timer: number | undefined;
let show = (_: string) => {};

function speak(): void {
  timer = undefined;
  last = Date.now();
  const more = waiting.length - MOST;
  show(waiting.slice(0, MOST).join(" ") + (more > 0 ? ` And ${more} more.` : ""));
  waiting = [];
}

// Tells a sentence. Those that come too early are told together as one message; one that is told
// `instead` takes the place of those that still wait.
export function announce(text: string, instead = false): void {
  waiting = instead ? [text] : [...waiting, text];
  timer ??= window.setTimeout(speak, Math.max(0, last + SPACING - Date.now()));
}

// The one place where screen readers hear of changes.
export function News() {
  const [said, setSaid] = useState({text: "", number: 0});
  useEffect(() => {
    show = (text) => setSaid(({number}) => ({text, number: number + 1}));
    return () => {
      clearTimeout(timer);
      timer = undefined;
      waiting = [];
      show = () => {};
    };
  }, []);
  // The same message again is another node, since screen readers tell what is new.
  return <p class="hidden" id="news" aria-live="polite"><span key={said.number}>{said.text}</span></p>;
}

// The title of a view, with the count of its open faults and alarms.
export function useTitle(name: string, alarms: AlarmCounts | undefined): void {
  const open = alarms ? alarms.Fault + alarms.Alarm : 0;
  const title = open > 0 ? `(${open}) ${name}` : name;
  useEffect(() => {
    document.title = title;
  }, [title]);
}

// The same for a view over all appliances that does not load them.
export function useFleetTitle(name: string): void {
  const fleet = useLoad("", (signal) => api.fleet({limit: 1}, signal));
  useChanges((change) => {
    if (concerns(change, undefined, "appliance")) fleet.reload();
  });
  useTitle(name, fleet.data?.alarms);
}
