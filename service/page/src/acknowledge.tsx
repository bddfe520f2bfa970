// SPDX-License-Identifier: Apache-2.0
// Who looks after an alarm: said in its row, with a form for it and a way to take it back.
import {useEffect, useRef, useState} from "preact/hooks";
import {type Acknowledgement, type Alarm, api, ApiError} from "./api";
import {Age} from "./format";
import {Icon} from "./icons";

const MOST = 1000;  // bytes of a note

function reasonOf(failure: unknown): string {
  const {message} = failure as Error;
  if (!(failure instanceof ApiError) || failure.status === 0) return `${message} It may be kept all the same.`;
  return failure.status === 404 ? "It has ended meanwhile." : message;
}

function tooLong(note: string): string {
  const size = new TextEncoder().encode(note).length;
  return size > MOST ? `The note has ${size} bytes, ${MOST} are possible.` : "";
}

interface FormProps {
  alarm: Alarm;
  busy: boolean;
  send: (note: string) => void;
  cancel: () => void;
}

function NoteForm({alarm, busy, send, cancel}: FormProps) {
  const note = useRef<HTMLInputElement>(null);
  useEffect(() => note.current!.focus(), []);
  const onSubmit = (event: Event) => {
    event.preventDefault();
    if (!busy) send(note.current!.value.trim());
  };
  return (
    <form class="note" aria-label={`Acknowledge ${alarm.message}`} onSubmit={onSubmit}>
      <label>Note for the others, if you like
        <input ref={note} name="note" maxLength={MOST} autoComplete="off" />
      </label>
      <button class="main" disabled={busy}>Acknowledge</button>
      <button type="button" onClick={cancel}>Cancel</button>
    </form>
  );
}

function Word({word, isOver}: {word: Acknowledgement; isOver: boolean}) {
  return (
    <p class="word">
      <Icon name="clear" /><span><b>{word.by}</b> {isOver ? "looked" : "looks"} after
        it</span> <span class="muted"><Age time={word.time} /></span>
      {word.note && <span class="said">{word.note}</span>}
    </p>
  );
}

interface CareProps {
  alarm: Alarm;
  asks: boolean;                   // its form is open
  setAsks: (asks: boolean) => void;
  changed: () => void;             // called when the service may have kept something else
}

export function Care({alarm, asks, setAsks, changed}: CareProps) {
  // What was kept last counts until the alarm is loaded anew.
  const [kept, setKept] = useState<{of: Alarm; word: Acknowledgement | null}>();
  const [fault, setFault] = useState("");
  const [busy, setBusy] = useState(false);
  const button = useRef<HTMLButtonElement>(null);
  const word = kept?.of === alarm ? kept.word : alarm.acknowledged;
  const isOver = alarm.ended !== null;

  const close = () => {
    setAsks(false);
    setFault("");
    button.current?.focus();
  };
  const keep = async (work: Promise<Acknowledgement | void>) => {
    setBusy(true);
    setFault("");
    try {
      setKept({of: alarm, word: await work ?? null});
      close();
    } catch (failure) {
      setFault(reasonOf(failure));
    }
    setBusy(false);
    changed();
  };
  const send = (note: string) => {
    const reason = tooLong(note);
    if (reason) setFault(reason);
    else void keep(api.acknowledge(alarm.id, note));
  };
  const press = () => {
    if (busy) return;
    if (word) void keep(api.takeBack(alarm.id));
    else if (asks) close();
    else setAsks(true);
  };

  return (
    <div class="care" onKeyDown={(event) => event.key === "Escape" && asks && close()}>
      {!isOver && <button class="act" ref={button} onClick={press} aria-expanded={word ? undefined : asks}>
        {word ? "Take back" : "Acknowledge"}</button>}
      {word && <Word word={word} isOver={isOver} />}
      {asks && <NoteForm alarm={alarm} busy={busy} send={send} cancel={close} />}
      {fault && <p class="fault" role="alert"><Icon name="Fault" />{fault}</p>}
    </div>
  );
}
