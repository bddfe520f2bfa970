// SPDX-License-Identifier: Apache-2.0
// Rows of alarms, which stay where they are while a reader is about to press something.
import type {ComponentChildren} from "preact";
import {useEffect, useLayoutEffect, useRef, useState} from "preact/hooks";
import {Care} from "./acknowledge";
import {applianceAddress, Link} from "./address";
import {type Alarm, serviceNow} from "./api";
import {Age, Moment} from "./format";
import {SeverityMark} from "./icons";
import {announce} from "./news";

const LEFT_ALONE = 60_000;  // milliseconds after which a pointer that rests on the list is forgotten
const FRESH = 120_000;      // age of an alarm that is told to screen readers as new

// Since when nothing is heard of the appliance.
export function SilentSince({alarm}: {alarm: Alarm}) {
  return alarm.offline
    ? <>Offline since <Moment time={alarm.offline} /></>
    : <>Late since <Moment time={alarm.opened} /></>;
}

function Text({alarm}: {alarm: Alarm}) {
  const open = alarm.ended === null;
  return (
    <span class="alarm-text">{alarm.message || <span class="muted">No text</span>}
      <span class="under muted">
        {alarm.kind === "alarm" && <span class="code">{alarm.messageId}</span>}
        {alarm.kind === "silence" && open && <SilentSince alarm={alarm} />}
        {alarm.kind === "silence" && !open && alarm.offline &&
          <>Offline from <Moment time={alarm.offline} /></>}
      </span></span>
  );
}

function Times({alarm}: {alarm: Alarm}) {
  if (alarm.ended === null) {
    return (
      <span class="alarm-time muted">Opened <Age time={alarm.opened} />
        <span class="under"><Moment time={alarm.opened} /></span></span>
    );
  }
  return (
    <span class="alarm-time muted">Ended <Age time={alarm.ended} />
      <span class="under">from <Moment time={alarm.opened} /></span>
      <span class="under">until <Moment time={alarm.ended} /></span></span>
  );
}

// What is shown of a list that changes by itself: the newest, unless that moves rows that are held.
function useSteady(items: Alarm[], held: "all" | "order" | "nothing") {
  const shown = useRef(items);
  const [, draw] = useState({});
  const order = (list: Alarm[]) => list.map(({id}) => id).join();
  const isMoved = order(items) !== order(shown.current);
  if (held === "nothing" || (held === "order" && !isMoved)) shown.current = items;
  return {
    shown: shown.current,
    isMoved: isMoved && shown.current !== items,
    show: () => {
      shown.current = items;
      draw({});
    },
  };
}

// Whether a pointer is over an element, and what tells it. A finger is nowhere in between.
function usePointer() {
  const [over, setOver] = useState(false);
  const timer = useRef<number>();
  const leave = () => {
    clearTimeout(timer.current);
    setOver(false);
  };
  const move = (event: PointerEvent) => {
    if (event.pointerType === "touch") return;
    clearTimeout(timer.current);
    timer.current = window.setTimeout(leave, LEFT_ALONE);
    setOver(true);
  };
  useEffect(() => () => clearTimeout(timer.current), []);
  return {over, handlers: {onPointerEnter: move, onPointerMove: move, onPointerLeave: leave}};
}

// Gives the element the focus that one of its parts had and took with it.
function useKeptFocus<T extends HTMLElement>() {
  const element = useRef<T>(null);
  const isInside = useRef(false);
  useLayoutEffect(() => {
    if (isInside.current && document.activeElement === document.body) {
      element.current?.focus({preventScroll: true});
    }
  });
  const handlers = {
    onFocusIn: () => { isInside.current = true; },
    onFocusOut: (event: FocusEvent) => {
      if ((event.target as Node).isConnected) isInside.current = false;
    },
  };
  return {element, handlers};
}

// Tells screen readers of alarms that have come since the list was first shown.
function useNewAlarms(items: Alarm[], tellsWhose: boolean): void {
  const known = useRef(new Set(items.map(({id}) => id)));
  useEffect(() => {
    for (const {id, severity, name, message, opened, ended} of items) {
      // Others come from the next page, in the place of those that have ended.
      const isNew = ended === null && serviceNow() - Date.parse(opened) < FRESH;
      if (isNew && !known.current.has(id)) {
        announce(`New ${severity.toLowerCase()}${tellsWhose ? ` of ${name}` : ""}: ${message || "no text"}`);
      }
      known.current.add(id);
    }
  }, [items]);
}

interface AlarmListProps {
  items: Alarm[];
  tellsWhose: boolean;  // says which appliance has them
  reload: () => void;
  children: ComponentChildren;  // shown where there are none
}

export function AlarmList({items, tellsWhose, reload, children}: AlarmListProps) {
  const [asked, setAsked] = useState<string>();  // whose form is open
  const pointer = usePointer();
  const focus = useKeptFocus<HTMLDivElement>();
  const {shown, isMoved, show} = useSteady(
      items, asked !== undefined ? "all" : pointer.over ? "order" : "nothing");
  useNewAlarms(items, tellsWhose);
  useEffect(() => {
    if (!shown.some(({id}) => id === asked)) setAsked(undefined);
  }, [shown]);
  if (shown.length === 0) return <>{children}</>;
  return (
    <div class={tellsWhose ? "rows of-all" : "rows"} ref={focus.element} tabIndex={-1}
         {...pointer.handlers} {...focus.handlers}>
      <p class="changed" role="status">
        {isMoved && <button onClick={show}>The list has changed. Show it</button>}
      </p>
      <ul class="alarms">{shown.map((alarm) => (
        <li key={alarm.id} class={`alarm ${alarm.severity}`} data-alarm={alarm.id}>
          <SeverityMark severity={alarm.severity} />
          <Text alarm={alarm} />
          {tellsWhose &&
            <Link to={applianceAddress(alarm.uuid)} class="whose">{alarm.name || alarm.uuid}</Link>}
          <Times alarm={alarm} />
          <Care alarm={alarm} asks={asked === alarm.id} changed={reload}
                setAsks={(asks) => setAsked(asks ? alarm.id : undefined)} />
        </li>
      ))}</ul>
    </div>
  );
}
