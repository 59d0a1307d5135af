// What the server is asked.

async function answerOf(response) {
  const answer = await response.json();
  if (!response.ok) throw new Error(answer.error ?? `answered ${response.status}`);
  return answer;
}

export async function ask(name) {
  return answerOf(await fetch(`api/${name}`));
}

export async function askText(name) {
  const response = await fetch(`api/${name}`);
  if (!response.ok) throw new Error(`answered ${response.status}`);
  return response.text();
}

let last = Promise.resolve();

// One behind the other, as they came: a field that is left by pressing "Keep" is
// collected before it is kept.
export function wish(name, body = {}) {
  const send = () => fetch(`api/${name}`, {
    method: "POST",
    headers: {"Content-Type": "application/json"},
    body: JSON.stringify(body),
  });
  const answer = last.then(send).then(answerOf);
  last = answer.catch(() => {});
  return answer;
}

export const wishAndTell = (name, body) => wish(name, body).then(announce);

// Collects a change; `null` takes the setting away. Where `was` is given and no longer so, somebody
// else has been faster, and nothing is changed.
export function change(space, key, value, was) {
  return wishAndTell("change", {space, key, value, was});
}

// Tells the page what is pending now: what is not kept, and what is kept in memory only.
export function announce(pending) {
  document.dispatchEvent(new CustomEvent("pending", {detail: pending}));
  return pending;
}
