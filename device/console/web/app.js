// The console's page: follows the device's state over the live channel
// and draws each part of it as it changes.

import {eventsUrl, h, show} from './dom.js';
import * as panels from './panels.js';

const connection = document.getElementById('connection');
// What each panel shows now, so that a state like the one on screen
// changes nothing under the user's mouse.
const drawn = new Map();

function draw(state) {
  const text = JSON.stringify(state);
  if (drawn.get(state.topic) === text) return;
  drawn.set(state.topic, text);
  const container = document.getElementById(state.topic);
  const render = panels[state.topic];
  if (!container || !render) return;
  container.closest('section').setAttribute('aria-busy', 'false');
  if (!state.available) {
    show(container, h('p', {class: 'muted'},
      state.error === 'connecting' ? 'Connecting to the service…' : `Not available: ${state.error}.`));
    return;
  }
  render(container, state.data || {});
}

function follow() {
  const events = new EventSource(eventsUrl());
  events.addEventListener('open', () => {
    connection.textContent = 'Live';
    connection.classList.remove('error');
  });
  events.addEventListener('state', (event) => draw(JSON.parse(event.data)));
  events.addEventListener('error', () => {
    // EventSource tries again by itself.
    connection.textContent = 'Connection to the device lost; trying again…';
    connection.classList.add('error');
  });
}

follow();
