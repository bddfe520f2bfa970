// SPDX-License-Identifier: Apache-2.0
// All appliances: counts by state and by open alarms, and a row for each appliance.
import type {ComponentChildren} from "preact";
import {useEffect, useRef, useState} from "preact/hooks";
import {addressWith, applianceAddress, go, Link, useAddress} from "./address";
import {api, type Appliance, type Fleet, SEVERITIES, STATES} from "./api";
import {FirstSteps} from "./first";
import {Age, Moment} from "./format";
import {Icon, type IconName, STATE_TEXT, StateMark} from "./icons";
import {useChanges} from "./live";
import {useLoad} from "./load";
import {announce, useTitle} from "./news";
import {SortHeading} from "./sorting";
import {Loading, Notice, Shown} from "./states";
import {recall, remember} from "./store";

const PAGE = 100;
const REFRESH = 30_000;  // milliseconds; appliances become late without any event
const TYPING_PAUSE = 200;
const SEARCHED = "Looks in name, UUID, model, serial number, firmware, address, account";
const DENSE = "dense";  // among what the browser keeps

const COLUMNS = [
  {sort: "state", title: "State"},
  {sort: "name", title: "Appliance"},
  {sort: "alarms", title: "Open alarms"},
  {sort: "lastHeartbeat", title: "Last heartbeat"},
  {sort: "", title: "Firmware"},
  {sort: "", title: "Address"},
] as const;

const ORDERS: readonly [sort: string, text: string][] = [
  ["-alarms", "Alarms, worst first"],
  ["name", "Name, A to Z"],
  ["-name", "Name, Z to A"],
  ["-state", "State, offline first"],
  ["state", "State, alive first"],
  ["alarms", "Alarms, none first"],
  ["-lastHeartbeat", "Heartbeat, newest first"],
  ["lastHeartbeat", "Heartbeat, oldest first"],
  ["-registered", "Registered, newest first"],
  ["registered", "Registered, oldest first"],
];

// The direction of each column at its first press: the rows that readers look for come first.
const FIRST: Record<string, string> = {state: "-state", alarms: "-alarms", lastHeartbeat: "-lastHeartbeat"};

const opposite = (sort: string) => sort.startsWith("-") ? sort.slice(1) : `-${sort}`;

interface TileProps {
  kind: "state" | "severity";
  value: IconName;
  text: string;
  count: number;
  chosen: string;
}

// A count. Pressing it filters the list, and pressing it again ends the filter.
function Tile({kind, value, text, count, chosen}: TileProps) {
  const pressed = chosen === value;
  return (
    <button class={`tile ${value} ${count === 0 ? "none" : ""}`} aria-pressed={pressed}
            data-count={value}
            onClick={() => go(addressWith({[kind]: pressed ? "" : value, offset: ""}))}>
      <span class="tile-text"><Icon name={value} />{text}</span>
      <span class="tile-count">{count}</span>
    </button>
  );
}

function Tiles({fleet, query}: {fleet: Fleet; query: URLSearchParams}) {
  const state = query.get("state") ?? "";
  const severity = query.get("severity") ?? "";
  return (
    <div class="tiles">
      <section class="card" aria-label="Appliances by state">
        <h2>Appliances</h2>
        <div>{STATES.map((one) =>
          <Tile key={one} kind="state" value={one} text={STATE_TEXT[one]} count={fleet.counts[one]}
                chosen={state} />)}</div>
      </section>
      <section class="card" aria-label="Open alarms by severity">
        <h2>Open alarms</h2>
        <div>{SEVERITIES.map((one) =>
          <Tile key={one} kind="severity" value={one} text={one} count={fleet.alarms[one]}
                chosen={severity} />)}</div>
      </section>
    </div>
  );
}

function Search({value}: {value: string}) {
  const [text, setText] = useState(value);
  const timer = useRef<number>();
  useEffect(() => setText(value), [value]);
  useEffect(() => () => clearTimeout(timer.current), []);
  const onInput = (event: Event) => {
    const next = (event.target as HTMLInputElement).value;
    setText(next);
    clearTimeout(timer.current);
    timer.current = window.setTimeout(() => go(addressWith({q: next, offset: ""}), true), TYPING_PAUSE);
  };
  return (
    <label class="search">
      <Icon name="search" /><span class="hidden">Search appliances</span>
      <input type="search" value={text} maxLength={200} onInput={onInput} aria-keyshortcuts="/"
             placeholder="Name, number, model, …" aria-describedby="searched" />
      <kbd aria-hidden="true">/</kbd>
      <span class="searched" id="searched" aria-hidden="true">{SEARCHED}</span>
    </label>
  );
}

function Order({sort}: {sort: string}) {
  return (
    <label class="order"><span class="muted">Order</span>
      <select value={sort} onChange={(event) =>
        go(addressWith({sort: (event.target as HTMLSelectElement).value, offset: ""}), true)}>
        {ORDERS.map(([value, text]) => <option key={value} value={value}>{text}</option>)}
      </select>
    </label>
  );
}

function DenseSwitch({dense, setDense}: {dense: boolean; setDense: (dense: boolean) => void}) {
  return <button class="dense-switch" aria-pressed={dense} onClick={() => setDense(!dense)}>Dense</button>;
}

function Heading({sort, title, chosen}: {sort: string; title: string; chosen: string}) {
  if (!sort) return <th scope="col">{title}</th>;
  const current = chosen.replace("-", "") === sort;
  const next = current ? opposite(chosen) : FIRST[sort] ?? sort;
  return <SortHeading title={title} press={() => go(addressWith({sort: next, offset: ""}), true)}
                      order={current ? chosen.startsWith("-") ? "descending" : "ascending" : undefined} />;
}

function AlarmBadges({alarms}: {alarms: Appliance["alarms"]}) {
  const open = SEVERITIES.filter((one) => alarms[one] > 0);
  if (open.length === 0) return <span class="muted">None</span>;
  return (
    <span class="badges">{open.map((one) => (
      <span key={one} class={`badge ${one}`} title={one}>
        <Icon name={one} /><span class="hidden">{one} </span>{alarms[one]}
      </span>))}
    </span>
  );
}

function Cell({title, children}: {title: string; children: ComponentChildren}) {
  return <td><span class="cell-title" aria-hidden="true">{title}</span>{children}</td>;
}

function Row({one}: {one: Appliance}) {
  return (
    <tr data-uuid={one.uuid} class={one.state}>
      <td><StateMark state={one.state} /></td>
      <th scope="row">
        <Link to={applianceAddress(one.uuid)} class="whole">{one.name || one.uuid}</Link>
        {one.model && <span class="under muted">{one.model}</span>}
      </th>
      <Cell title="Open alarms"><AlarmBadges alarms={one.alarms} /></Cell>
      <Cell title="Last heartbeat">
        {one.lastHeartbeat
          ? <><Age time={one.lastHeartbeat} />
              <span class="under muted wider"><Moment time={one.lastHeartbeat} /></span></>
          : <span class="muted">Never</span>}
      </Cell>
      <Cell title="Firmware">{one.firmware ?? <span class="muted">Not told</span>}</Cell>
      <Cell title="Address">{one.address ?? <span class="muted">Not known</span>}</Cell>
    </tr>
  );
}

function Pages({total, offset}: {total: number; offset: number}) {
  const last = Math.min(offset + PAGE, total);
  if (offset === 0 && last === total) return null;
  const to = (next: number) => addressWith({offset: next > 0 ? String(next) : ""});
  return (
    <nav class="pages" aria-label="Pages of the list">
      {offset > 0 && <Link to={to(offset - PAGE)}>Before</Link>}
      <span class="muted">{offset + 1} to {last} of {total}</span>
      {last < total && <Link to={to(last)}>After</Link>}
    </nav>
  );
}

function NoRows({fleet}: {fleet: Fleet}) {
  const registered = STATES.some((state) => fleet.counts[state] > 0);
  if (!registered) return <FirstSteps />;
  return (
    <Notice icon="search" title="No appliance fits">
      <p>None has what you search and filter for.</p>
      <button onClick={() => go("/")}>Show all</button>
    </Notice>
  );
}

interface ListProps {
  fleet: Fleet;
  sort: string;
  offset: number;
  old: boolean;
  dense: boolean;
}

function List({fleet, sort, offset, old, dense}: ListProps) {
  if (fleet.items.length === 0) {
    const elsewhere = fleet.total > 0;  // there are rows on earlier pages
    return <section class="card">{elsewhere ? <Loading what="the last page" /> : <NoRows fleet={fleet} />}</section>;
  }
  return (
    <section class={`card list ${old ? "old" : ""}`} aria-label="Appliances" aria-busy={old}>
      <table class={dense ? "fleet dense" : "fleet"}>
        <thead><tr>{COLUMNS.map((column) =>
          <Heading key={column.title} {...column} chosen={sort} />)}</tr></thead>
        <tbody>{fleet.items.map((one) => <Row key={one.uuid} one={one} />)}</tbody>
      </table>
      <Pages total={fleet.total} offset={offset} />
    </section>
  );
}

// Tells screen readers when the counts have changed.
function useCounts(fleet: Fleet | undefined): void {
  const counts = fleet && [
    ...STATES.map((state) => `${STATE_TEXT[state]} ${fleet.counts[state]}`),
    ...SEVERITIES.map((severity) => `${severity} ${fleet.alarms[severity]}`),
  ].join(", ");
  const told = useRef<string>();
  useEffect(() => {
    if (counts === undefined) return;
    if (told.current !== undefined && told.current !== counts) announce(`${counts}.`, true);
    told.current = counts;
  }, [counts]);
}

// Whether rows are dense: a choice that this browser keeps.
function useDense(): [dense: boolean, setDense: (dense: boolean) => void] {
  const [dense, setDense] = useState(() => recall(DENSE) === "yes");
  return [dense, (next) => {
    remember(DENSE, next ? "yes" : null);
    setDense(next);
  }];
}

// The rows with their newest heartbeats; the same object where none is newer.
function withHeartbeats(fleet: Fleet, heard: ReadonlyMap<string, string>): Fleet {
  const isNewer = (one: Appliance) => (heard.get(one.uuid) ?? "") > (one.lastHeartbeat ?? "");
  if (!fleet.items.some(isNewer)) return fleet;
  return {...fleet, items: fleet.items.map((one) =>
    isNewer(one) ? {...one, lastHeartbeat: heard.get(one.uuid)!} : one)};
}

// Whether the row of the appliance is shown and neither counts nor its place can be others now.
function staysInPlace(fleet: Fleet, now: Appliance): boolean {
  const before = fleet.items.find((one) => one.uuid === now.uuid);
  return before !== undefined && before.state === now.state && before.name === now.name &&
      SEVERITIES.every((severity) => before.alarms[severity] === now.alarms[severity]);
}

const withRow = (fleet: Fleet, row: Appliance): Fleet =>
  ({...fleet, items: fleet.items.map((one) => one.uuid === row.uuid ? row : one)});

export function FleetPage() {
  const {query} = useAddress();
  const [dense, setDense] = useDense();
  const ask = {
    q: query.get("q") ?? "",
    state: query.get("state") ?? "",
    severity: query.get("severity") ?? "",
    sort: query.get("sort") || "-alarms",
    offset: Number(query.get("offset")) || 0,
  };
  const key = JSON.stringify(ask);
  const fleet = useLoad(key, (signal) =>
    api.fleet({...ask, offset: ask.offset || undefined, limit: PAGE}, signal));
  useChanges((change) => {
    if (change.heard) {
      fleet.change((data) => withHeartbeats(data, change.heard!));
      // What is heard is alive, and the order may be another.
      const isElsewhere = (one: Appliance) => one.state !== "alive" && change.heard!.has(one.uuid);
      if (ask.sort.endsWith("lastHeartbeat") || fleet.data?.items.some(isElsewhere)) fleet.reload();
    }
    const {appliance} = change;
    if (appliance && fleet.data && staysInPlace(fleet.data, appliance)) {
      fleet.change((data) => withRow(data, appliance));
    } else if (["appliance", "gone", "more", "reset"].includes(change.type)) {
      fleet.reload();
    }
  });
  // The list may have become shorter, so that the address names a page behind its end.
  const beyond = fleet.key === key && ask.offset > 0 && fleet.data?.items.length === 0;
  useEffect(() => {
    if (!beyond) return;
    const last = Math.floor((fleet.data!.total - 1) / PAGE) * PAGE;
    go(addressWith({offset: last > 0 ? String(last) : ""}), true);
  }, [beyond, key]);
  useTitle("Fleet", fleet.data?.alarms);
  useCounts(fleet.data);
  useEffect(() => {
    const timer = setInterval(fleet.reload, REFRESH);
    return () => clearInterval(timer);
  }, []);
  const filtered = Boolean(ask.q || ask.state || ask.severity);
  return (
    <>
      <h1 class="hidden">Fleet</h1>
      <Shown of={fleet} what="the fleet" rows={8}>{(data) => (
        <>
          <Tiles fleet={data} query={query} />
          <div class="tools" role="search">
            <Search value={ask.q} />
            <Order sort={ask.sort} />
            <DenseSwitch dense={dense} setDense={setDense} />
            <span class="spring" />
            <span class="muted" role="status" id="found">
              {data.total === 1 ? "1 appliance" : `${data.total} appliances`}
              {filtered && data.total > 0 ? " found" : ""}</span>
            {filtered && <button class="quiet" onClick={() => go(addressWith(
                {q: "", state: "", severity: "", offset: ""}))}>Show all</button>}
          </div>
          <List fleet={data} sort={ask.sort} offset={ask.offset} dense={dense}
                old={fleet.key !== key} />
        </>
      )}</Shown>
    </>
  );
}
