// Small helpers for building the page: elements, times, and the console's
// actions. No framework: the page is a handful of lists that are drawn
// anew from the device's state whenever it changes.

/** An element: h('button', {type: 'button', onclick: f}, 'Text'). */
export function h(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on') && typeof value === 'function') {
      element.addEventListener(name.slice(2), value);
    } else if (name === 'dataset') {
      Object.assign(element.dataset, value);
    } else if (name in element && typeof value !== 'string') {
      element[name] = value;
    } else {
      element.setAttribute(name, value === true ? '' : String(value));
    }
  }
  append(element, children);
  return element;
}

function append(element, children) {
  for (const child of children.flat(Infinity)) {
    if (child === undefined || child === null || child === false) continue;
    element.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
}

/**
 * Replaces what a container shows. The element that had the focus is
 * found again by its data-key, so that a change of the device's state
 * never takes the focus away from a keyboard user.
 */
export function show(container, ...children) {
  const focused = document.activeElement;
  const key = focused && container.contains(focused) ? focused.dataset.key : undefined;
  container.replaceChildren();
  append(container, children);
  if (key) {
    const again = container.querySelector(`[data-key="${CSS.escape(key)}"]`);
    if (again) again.focus();
  }
}

/** A time in milliseconds since the epoch, as the user reads it. */
export function time(ms) {
  const value = Number(ms);
  if (!Number.isFinite(value) || value <= 0) return '';
  return new Date(value).toLocaleString(undefined, {
    year: 'numeric', month: '2-digit', day: '2-digit',
    hour: '2-digit', minute: '2-digit', second: '2-digit',
  });
}

/** A definition list of the pairs whose value is not empty. */
export function facts(pairs) {
  const list = h('dl', {class: 'facts'});
  for (const [name, value] of pairs) {
    if (value === undefined || value === null || value === '') continue;
    list.append(h('dt', {}, name), h('dd', {}, value));
  }
  return list;
}

const token = new URLSearchParams(location.search).get('token') || '';

/** The address of the live channel. */
export function eventsUrl() {
  return 'events?token=' + encodeURIComponent(token);
}

const status = () => document.getElementById('status');

/**
 * Asks the device to do something as its user: POST /api/<object>/<msg>.
 * The outcome is told in the status line, which screen readers announce.
 * Resolves to the answer's "dat", or to null after a failure.
 */
export async function act(object, msg, dat = {}, done = '') {
  try {
    const response = await fetch(`api/${object}/${msg}`, {
      method: 'POST',
      headers: {'Content-Type': 'application/json', 'X-Om-Token': token},
      body: JSON.stringify(dat),
    });
    const body = await response.json().catch(() => ({}));
    if (!response.ok) {
      say(`${msg}: ${body.error || response.statusText}`, true);
      return null;
    }
    if (done) say(done);
    return body.dat || {};
  } catch (error) {
    say(`${msg}: the console cannot be reached (${error.message})`, true);
    return null;
  }
}

/** Tells the user something in the status line. */
export function say(text, isError = false) {
  const line = status();
  line.textContent = text;
  line.classList.toggle('error', isError);
}
