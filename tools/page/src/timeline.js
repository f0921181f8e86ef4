// The timeline: a canvas that is zoomed and dragged, beside the rows' names, which are text of the page.
import { scaleLinear } from 'd3-scale';
import { select } from 'd3-selection';
import { zoom, zoomIdentity } from 'd3-zoom';
import { make } from './dom.js';
import { changesFilter } from './filter.js';
import { AXIS, draw } from './draw.js';
import { BAR, MARKS, barTop, blockAt, layoutOf } from './layout.js';
import { firstAtLeast } from './model.js';
import { readPaint } from './paint.js';

const SHORTEST = 1000;  // ns that the whole width may stand for

export class Timeline {
  constructor(model, store) {
    Object.assign(this, { model, store, paint: null, logRange: null, frameAsked: false, drawn: [] });
    this.names = make('ol', { class: 'names', 'aria-label': 'Rows of the timeline' });
    this.canvas = make('canvas', { tabindex: 0, role: 'application', 'aria-roledescription': 'timeline',
      'aria-label': 'Timeline. Arrow keys go from bar to bar, Enter zooms to one, + - and * zoom.',
      'aria-describedby': 'keys' });
    this.content = make('div', { class: 'content' }, this.names, this.canvas);
    this.element = make('div', { class: model.sides.length > 1 ? 'viewport tall' : 'viewport', onscroll: () => this.ask() }, this.content);
    this.base = scaleLinear([model.begin, model.end], [0, 1]);
    this.zoom = zoom()
      .filter((event) => (event.type === 'wheel' ? !isSideways(event) : !event.button))
      .on('zoom', (event) => this.zoomed(event));
    select(this.canvas).call(this.zoom).on('dblclick.zoom', null);
    this.canvas.addEventListener('wheel', (event) => this.wheeled(event), { passive: false });
    this.canvas.addEventListener('click', (event) => this.clicked(event));
    this.canvas.addEventListener('mousemove', (event) => {
      this.canvas.title = event.buttons ? '' : this.titleAt(event);
    });
    this.layOut();
    store.on((state, changed) => this.changed(state, changed));
    new ResizeObserver(() => this.resize()).observe(this.element);
  }

  layOut() {
    this.layout = layoutOf(this.model, this.store.get());
    this.names.replaceChildren(...this.layout.blocks.map(({ kind, name, top, height }) => {
      const item = make('li', { title: name, class: kind === 'side' ? 'side' : null }, name);
      item.style.top = `${AXIS + top}px`;
      item.style.height = `${height}px`;
      return item;
    }));
    this.content.style.height = `${this.layout.height + AXIS}px`;
  }

  resize() {
    const ratio = devicePixelRatio || 1;
    this.width = Math.max(50, this.element.clientWidth - this.names.offsetWidth);
    this.height = this.element.clientHeight;
    this.canvas.width = Math.round(this.width * ratio);
    this.canvas.height = Math.round(this.height * ratio);
    this.canvas.style.width = `${this.width}px`;
    this.canvas.style.height = `${this.height}px`;
    this.base.range([0, this.width]);
    this.zoom.extent([[0, 0], [this.width, this.height]])
      .translateExtent([[0, -Infinity], [this.width, Infinity]])
      .scaleExtent([1, Math.max(1, (this.model.end - this.model.begin) / SHORTEST)]);
    this.show(this.store.get().view);
    this.draw();
  }

  // Brings a stretch of time into view.
  show([from, to]) {
    const k = (this.model.end - this.model.begin) / Math.max(to - from, SHORTEST);
    select(this.canvas).call(this.zoom.transform, zoomIdentity.scale(k).translate(-this.base(from), 0));
  }

  zoomBy(factor) { select(this.canvas).call(this.zoom.scaleBy, factor); }
  panBy(share) { select(this.canvas).call(this.zoom.translateBy, (-share * this.width) / this.transform().k, 0); }
  transform() { return this.canvas.__zoom; }
  scale() { return this.transform().rescaleX(this.base); }

  zoomed({ sourceEvent }) {
    if (sourceEvent?.type === 'mousemove') this.element.scrollTop -= sourceEvent.movementY;
    const view = this.scale().domain();
    const [from, to] = this.store.get().view;
    if (view[0] !== from || view[1] !== to) this.store.set({ view });
    this.ask();
  }

  wheeled(event) {
    if (!isSideways(event)) return;
    event.preventDefault();
    if (event.shiftKey) this.element.scrollTop += event.deltaY || event.deltaX;
    else this.panBy(event.deltaX / this.width);
  }

  changed(state, changed) {
    if (changesFilter(changed)) this.layOut();
    if (changed.has('view')) {
      const [from, to] = this.scale().domain();
      if (state.view[0] !== from || state.view[1] !== to) this.show(state.view);
    }
    if (changed.has('selected') && state.selected) this.reveal(state.selected);
    this.ask();
  }

  // Moves what is selected into view, and leaves the zoom as it is where it is seen already.
  reveal({ section, mark }) {
    const { sections, marks } = this.model;
    const begin = section !== undefined ? sections.begin[section] : marks.time[mark];
    const end = section !== undefined ? sections.end[section] : begin;
    const [from, to] = this.scale().domain();
    if (end < from || begin > to) {
      const half = Math.max((to - from) / 2, (end - begin) * 0.6), middle = (begin + end) / 2;
      this.show([middle - half, middle + half]);
    }
    const top = section !== undefined ? barTop(this.layout, this.model, section) : null;
    if (top === null) return;
    const { scrollTop } = this.element;
    if (top < scrollTop || top + BAR + AXIS > scrollTop + this.height) this.element.scrollTop = top - this.height / 3;
  }

  zoomTo(section) {
    const begin = this.model.sections.begin[section];
    const room = Math.max(this.model.duration(section) * 0.1, SHORTEST);
    this.show([begin - room, this.model.sections.end[section] + room]);
  }

  // The section or mark at a place of the canvas; null: none.
  at(x, y) {
    const block = blockAt(this.layout, y - AXIS + this.element.scrollTop);
    if (y < AXIS || block?.kind !== 'row') return null;
    const inside = y - AXIS + this.element.scrollTop - block.top, scale = this.scale();
    if (inside < MARKS) {
      const first = firstAtLeast(block.times, scale.invert(x - 4));
      return block.times[first] <= scale.invert(x + 4) ? { mark: block.marks[first] } : null;
    }
    const level = block.levels[Math.floor((inside - MARKS) / BAR)];
    const found = level ? firstAtLeast(level.end, scale.invert(x - 1)) : 0;
    return level && level.begin[found] <= scale.invert(x + 1) ? { section: level.index[found] } : null;
  }

  clicked(event) {
    this.store.set({ selected: this.at(event.offsetX, event.offsetY) });
  }

  titleAt(event) {
    const found = this.at(event.offsetX, event.offsetY);
    if (!found) return '';
    return found.mark !== undefined ? this.model.markText(found.mark) : this.model.sentence(found.section);
  }

  setLogRange(range) {
    this.logRange = range;
    this.ask();
  }

  repaint() {
    this.paint = null;
    this.ask();
  }

  ask() {
    if (this.frameAsked) return;
    this.frameAsked = true;
    requestAnimationFrame(() => this.draw());
  }

  draw() {
    this.frameAsked = false;
    if (!this.width) return;
    this.paint ??= readPaint();
    const context = this.canvas.getContext('2d'), ratio = devicePixelRatio || 1;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    draw({ context, width: this.width, height: this.height, scroll: this.element.scrollTop, scale: this.scale(),
      paint: this.paint, model: this.model, layout: this.layout, state: this.store.get(), logRange: this.logRange });
  }
}

const isSideways = (event) => event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY);
