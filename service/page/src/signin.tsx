// SPDX-License-Identifier: Apache-2.0
import {useEffect, useRef, useState} from "preact/hooks";
import {api, ApiError} from "./api";
import {Icon} from "./icons";

interface SignInProps {
  ended: boolean;  // a session has just ended
  done: () => void;
}

function reason(fault: unknown): string {
  if (!(fault instanceof ApiError)) return String(fault);
  return fault.status === 401 ? "Name or password is wrong." : fault.message;
}

export function SignIn({ended, done}: SignInProps) {
  const [fault, setFault] = useState("");
  const [busy, setBusy] = useState(false);
  const form = useRef<HTMLFormElement>(null);
  const password = useRef<HTMLInputElement>(null);

  useEffect(() => {
    document.title = "Sign in";
    form.current?.querySelector("input")?.focus();
  }, []);

  const onSubmit = async (event: Event) => {
    event.preventDefault();
    const fields = new FormData(form.current!);
    setBusy(true);
    setFault("");
    try {
      await api.signIn(String(fields.get("name")), String(fields.get("password")));
      done();
    } catch (failure) {
      setFault(reason(failure));
      setBusy(false);
      password.current?.select();
    }
  };

  return (
    <main class="door">
      <form class="card sign-in" ref={form} onSubmit={onSubmit}>
        <span class="brand"><Icon name="mark" /></span>
        <h1>Sign in</h1>
        <p class="muted">{ended ? "Your session has ended. Sign in to go on where you were."
                                : "to see the appliances of this service"}</p>
        <label>Operator<input name="name" autocomplete="username" required autocapitalize="off" spellcheck={false} /></label>
        <label>Password<input name="password" type="password" autocomplete="current-password" required ref={password} /></label>
        {fault && <p class="fault" role="alert"><Icon name="Fault" />{fault}</p>}
        <button class="main" disabled={busy}>{busy ? "Signing in" : "Sign in"}</button>
      </form>
    </main>
  );
}
