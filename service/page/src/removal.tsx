// SPDX-License-Identifier: Apache-2.0
// The removal of an appliance, with what it means said before.
import {useRef, useState} from "preact/hooks";
import {goBack} from "./address";
import {api, ApiError, type ApplianceDetail} from "./api";
import {Icon} from "./icons";

const MEANING = "Its readings, events, alarms and documents are gone at once and for good.";
const AFTER = "it is refused. It registers anew, with an empty history, when it is started again, or "
    + "by itself where its policy says so, as long as its account has a key.";

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
    setFault("");
    try {
      await api.remove(one.uuid);
      goBack();
    } catch (failure) {
      const isAnswered = failure instanceof ApiError && failure.status > 0;
      setFault((failure as Error).message + (isAnswered ? "" : " It may be gone all the same."));
      setBusy(false);
    }
  };

  return (
    <div class="removal">
      <button class="quiet" onClick={open}>Remove this appliance</button>
      <dialog ref={dialog} class="card" aria-labelledby="removal"
              onCancel={(event) => busy && event.preventDefault()}>
        <h2 id="removal">Remove {one.name || one.uuid}?</h2>
        <p>{MEANING}</p>
        <p>{one.state === "alive" ? `It is alive: ${AFTER}` : `Should it come back, ${AFTER}`}</p>
        {fault && <p class="fault" role="alert"><Icon name="Fault" />{fault}</p>}
        <div class="choices">
          <button disabled={busy} onClick={() => dialog.current?.close()}>Keep it</button>
          <button class="danger" disabled={busy} onClick={remove}>Remove it for good</button>
        </div>
      </dialog>
    </div>
  );
}
