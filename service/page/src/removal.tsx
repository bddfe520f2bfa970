// SPDX-License-Identifier: Apache-2.0
// The removal of an appliance, with what it means said before.
import {useRef, useState} from "preact/hooks";
import {go} from "./address";
import {api, type ApplianceDetail} from "./api";
import {Icon} from "./icons";

const MEANING = "Its readings, events, alarms and documents are gone at once and for good.";
const AFTER = "it is refused until it is started again, and registers anew then, with an empty history.";

export function Removal({one}: {one: ApplianceDetail}) {
  const dialog = useRef<HTMLDialogElement>(null);
  const [fault, setFault] = useState("");
  const [busy, setBusy] = useState(false);

  const open = () => {
    setFault("");
    dialog.current?.showModal();
  };
  const remove = async () => {
    setBusy(true);
    try {
      await api.remove(one.uuid);
      go("/");
    } catch (failure) {
      setFault((failure as Error).message);
      setBusy(false);
    }
  };

  return (
    <div class="removal">
      <button class="quiet" onClick={open}>Remove this appliance</button>
      <dialog ref={dialog} class="card" aria-labelledby="removal">
        <h2 id="removal">Remove {one.name || one.uuid}?</h2>
        <p>{MEANING}</p>
        <p>{one.state === "alive" ? `It is alive: ${AFTER}` : `Should it come back, ${AFTER}`}</p>
        {fault && <p class="fault" role="alert"><Icon name="Fault" />{fault}</p>}
        <div class="choices">
          <button onClick={() => dialog.current?.close()}>Keep it</button>
          <button class="danger" disabled={busy} onClick={remove}>Remove it for good</button>
        </div>
      </dialog>
    </div>
  );
}
