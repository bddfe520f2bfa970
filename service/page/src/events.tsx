// SPDX-License-Identifier: Apache-2.0
// The events of an appliance, newest first. The address holds the filters and the page.
import {useLayoutEffect, useRef} from "preact/hooks";
import {addressWith, go, Link, useAddress} from "./address";
import {api, type EventPage, type Kind, KINDS, type LogEvent, SEVERITIES, type Severity} from "./api";
import {Age, dayText, Moment, MomentAndAge} from "./format";
import {Icon, type IconName} from "./icons";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";
import {Notice, Shown} from "./states";

const PAGE = 25;
const DELAY = 60;  // seconds; an event that arrives later than this shows both times

const KIND_TEXT: Record<Kind, string> = {
  alarm: "Alarm", clear: "End of an alarm", message: "Message", point: "Change of value",
};

const FILTERS = {severity: "", kind: "", q: "", since: "", until: "", before: ""};

function iconOf(event: LogEvent): IconName {
  if (event.kind !== "alarm") return event.kind;
  return SEVERITIES.includes(event.severity as Severity) ? event.severity as Severity : "Alarm";
}

// Converts a time of the address (UTC) to that of an input (the reader's zone), and back.
function toInput(time: string): string {
  const date = new Date(time);
  if (Number.isNaN(date.getTime())) return "";
  const local = new Date(date.getTime() - date.getTimezoneOffset() * 60_000);
  return local.toISOString().slice(0, 16);
}

function fromInput(text: string): string {
  const date = new Date(text);
  return Number.isNaN(date.getTime()) ? "" : date.toISOString().replace(/\.\d+/, "");
}

const narrow = (name: string, value: string) => go(addressWith({[name]: value, before: ""}), true);

const valueOf = (event: Event) => (event.target as HTMLInputElement | HTMLSelectElement).value;

interface ChoiceProps {
  name: "severity" | "kind";
  title: string;
  value: string;
  choices: readonly [value: string, text: string][];
}

function Choice({name, title, value, choices}: ChoiceProps) {
  return (
    <label>{title}
      <select name={name} value={value} onChange={(event) => narrow(name, valueOf(event))}>
        <option value="">All</option>
        {choices.map(([choice, text]) => <option key={choice} value={choice}>{text}</option>)}
      </select>
    </label>
  );
}

function Time({name, title, value}: {name: "since" | "until"; title: string; value: string}) {
  return (
    <label>{title}
      <input type="datetime-local" name={name} value={toInput(value)}
             onChange={(event) => narrow(name, fromInput(valueOf(event)))} />
    </label>
  );
}

function Filters({query}: {query: URLSearchParams}) {
  const value = (name: string) => query.get(name) ?? "";
  const filtered = Object.keys(FILTERS).some((name) => name !== "before" && value(name));
  return (
    <form class="filters" role="search" aria-label="Events" onSubmit={(event) => event.preventDefault()}>
      <label class="grow">Text
        <input type="search" name="q" value={value("q")} maxLength={200} aria-keyshortcuts="/"
               placeholder="Message or its number" onChange={(event) => narrow("q", valueOf(event))} />
      </label>
      <Choice name="severity" title="Severity" value={value("severity")}
              choices={[...SEVERITIES, "Message"].map((one) => [one, one])} />
      <Choice name="kind" title="Kind" value={value("kind")}
              choices={KINDS.map((kind) => [kind, KIND_TEXT[kind]])} />
      <Time name="since" title="From" value={value("since")} />
      <Time name="until" title="Until" value={value("until")} />
      {filtered && <button type="button" class="quiet" onClick={() => go(addressWith(FILTERS), true)}>Show all</button>}
    </form>
  );
}

// The time that the appliance gives for the event, unless it is close to the arrival.
function Happened({event}: {event: LogEvent}) {
  if (event.time) {
    const late = Math.abs(Date.parse(event.received) - Date.parse(event.time)) / 1000;
    return late < DELAY ? null : <span>happened <MomentAndAge time={event.time} /></span>;
  }
  return event.created ? <span>happened {event.created}</span> : null;
}

function Item({event}: {event: LogEvent}) {
  const icon = iconOf(event);
  const args = event.args.filter(Boolean).join(", ");
  return (
    <li class={`event ${icon}`} data-event={event.id}>
      <span class="when"><Moment time={event.received} form="clock" />
        <span class="under"><Age time={event.received} /></span></span>
      <Icon name={icon} />
      <div>
        <p>{event.message || <span class="muted">No text</span>}{" "}
          {event.cleared && <span class="tag">No longer open</span>}</p>
        <p class="muted meta">
          <span>{event.kind === "alarm" ? event.severity || KIND_TEXT.alarm : KIND_TEXT[event.kind]}</span>
          <span class="code">{event.messageId}</span>
          {args && <span>{args}</span>}
          <Happened event={event} />
        </p>
      </div>
    </li>
  );
}

function days(items: LogEvent[]): [day: string, items: LogEvent[]][] {
  const found = new Map<string, LogEvent[]>();
  for (const item of items) {
    const day = dayText(new Date(item.received));
    found.set(day, [...found.get(day) ?? [], item]);
  }
  return [...found];
}

const topOf = (section: HTMLElement) => section.getBoundingClientRect().top;

// Keeps the section's head at `top`, or shows it where it would be out of sight. The events may have
// become too few for the page to reach that far; then the section stays higher than they are.
function keepHead(section: HTMLElement, top: number): void {
  const highest = parseFloat(getComputedStyle(section).scrollMarginTop);
  const wanted = Math.max(top, highest);
  section.style.minHeight = "";
  window.scrollBy(0, topOf(section) - wanted);
  const lack = Math.ceil(topOf(section) - wanted);
  if (lack <= 0) return;
  section.style.minHeight = `${section.offsetHeight + lack}px`;
  window.scrollBy(0, lack);
}

function Page({page, paged, filtered}: {page: EventPage; paged: boolean; filtered: boolean}) {
  const pages = useRef<HTMLElement>(null);
  const turned = useRef<{section: HTMLElement; top: number}>();
  const turn = () => {
    const section = pages.current!.closest("section")!;
    turned.current = {section, top: topOf(section)};
  };
  useLayoutEffect(() => {
    if (!turned.current) return;
    const {section, top} = turned.current;
    turned.current = undefined;
    keepHead(section, top);
    // The last page has no link to older ones any more, and the first none to newer ones.
    if (document.activeElement === document.body) pages.current?.focus({preventScroll: true});
  }, [page]);
  return (
    <>
      {days(page.items).map(([day, items]) => (
        <section key={day} class="day">
          <h3>{day}</h3>
          <ol class="events">{items.map((event) => <Item key={event.id} event={event} />)}</ol>
        </section>
      ))}
      {page.items.length === 0 && (
        <Notice icon="empty" title={filtered || paged ? "No event fits" : "Nothing has happened yet"}>
          {filtered && page.next ? "The search goes on among older events." : ""}
        </Notice>
      )}
      <nav class="pages" aria-label="Pages of the events" ref={pages} tabIndex={-1}
           onClick={turn}>
        {paged && <Link key="newest" to={addressWith({before: ""})}>Newest</Link>}
        {page.next !== null && <Link key="older" to={addressWith({before: String(page.next)})}>Older</Link>}
      </nav>
    </>
  );
}

export function Events({uuid}: {uuid: string}) {
  const {query} = useAddress();
  const ask = Object.fromEntries(Object.keys(FILTERS).map((name) => [name, query.get(name) ?? ""]));
  const key = JSON.stringify(ask);
  const loaded = useLoad(key, (signal) => api.events(uuid, {...ask, limit: PAGE}, signal));
  useChanges((change) => {
    if (concerns(change, uuid, "event")) loaded.reload();
  });
  const filtered = Object.keys(FILTERS).some((name) => name !== "before" && ask[name]);
  return (
    <section class="card log" aria-labelledby="events">
      <h2 id="events">Events</h2>
      <Filters query={query} />
      <div class={loaded.key === key ? "" : "old"}>
        <Shown of={loaded} what="the events" rows={5}>{(page) =>
          <Page page={page} paged={Boolean(ask["before"])} filtered={filtered} />}
        </Shown>
      </div>
    </section>
  );
}
