// SPDX-License-Identifier: Apache-2.0
// The events of an appliance, or of all, newest first. The address holds the filters and the page.
import {applianceAddress, Link, useAddress} from "./address";
import {api, type Kind, KINDS, type LogEvent, type Page, SEVERITIES, type Severity} from "./api";
import {Choice, Filters, Pages, TextField, TimeField, type Values, valuesIn} from "./filters";
import {Age, dayText, Moment, MomentAndAge} from "./format";
import {Icon, type IconName} from "./icons";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";
import {useFleetTitle} from "./news";
import {Notice, Shown} from "./states";

const PAGE = 25;
const DELAY = 60;  // seconds; an event that arrives later than this shows both times

const KIND_TEXT: Record<Kind, string> = {
  alarm: "Alarm", clear: "End of an alarm", message: "Message", point: "Change of value",
};

const FILTERS = ["severity", "kind", "q", "since", "until"] as const;

function iconOf(event: LogEvent): IconName {
  if (event.kind !== "alarm") return event.kind;
  return SEVERITIES.includes(event.severity as Severity) ? event.severity as Severity : "Alarm";
}

function EventFilters({values}: {values: Values}) {
  return (
    <Filters name="Events" values={values}>
      <TextField name="q" title="Text" value={values["q"]} hint="Message or its number" />
      <Choice name="severity" title="Severity" value={values["severity"]}
              choices={[...SEVERITIES, "Message"].map((one) => [one, one])} />
      <Choice name="kind" title="Kind" value={values["kind"]}
              choices={KINDS.map((kind) => [kind, KIND_TEXT[kind]])} />
      <TimeField name="since" title="From" value={values["since"]} />
      <TimeField name="until" title="Until" value={values["until"]} />
    </Filters>
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
      {event.uuid !== undefined &&
        <Link to={applianceAddress(event.uuid)} class="whose">{event.name || event.uuid}</Link>}
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

function Log({page, paged, filtered}: {page: Page<LogEvent>; paged: boolean; filtered: boolean}) {
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
          {filtered && page.next !== null ? "The search goes on among older events." : ""}
        </Notice>
      )}
      <Pages of={page} place="before" next={page.next} paged={paged} first="Newest" more="Older" />
    </>
  );
}

export function Events({uuid}: {uuid?: string}) {
  const {query} = useAddress();
  const values = valuesIn(query, FILTERS);
  const before = query.get("before") ?? "";
  const key = JSON.stringify([values, before]);
  const loaded = useLoad(key, (signal) => api.events(uuid, {...values, before, limit: PAGE}, signal));
  useChanges((change) => {
    if (concerns(change, uuid, "event")) loaded.reload();
  });
  const filtered = Object.values(values).some(Boolean);
  return (
    <section class="card log" aria-labelledby="events">
      {uuid === undefined ? <h1 id="events">Events</h1> : <h2 id="events">Events</h2>}
      <EventFilters values={values} />
      <div class={loaded.key === key ? "" : "old"}>
        <Shown of={loaded} what="the events" rows={5}>{(page) =>
          <Log page={page} paged={Boolean(before)} filtered={filtered} />}
        </Shown>
      </div>
    </section>
  );
}

export function EventsPage() {
  useFleetTitle("Events");
  return <Events />;
}
