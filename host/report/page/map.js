// The map of the medium: each column stands for an equal part of it and is divided by what that part holds.

// In the order of precedence where two overlap. The colours are in the style sheet.
const mapClasses = [
  { key: 'unreadable', name: 'unreadable' },
  { key: 'embedded', name: 'embedded in whole files' },
  { key: 'whole', name: 'whole files' },
  { key: 'open', name: 'open' },
  { key: 'truncated', name: 'truncated' },
  { key: 'damaged', name: 'damaged' },
  { key: 'zeros', name: 'zeros' },
  { key: 'free', name: 'free of finds' },
];
// In the order in which people read them, and in which columns are drawn from the bottom up.
const shownClasses = ['whole', 'embedded', 'open', 'truncated', 'damaged', 'unreadable', 'zeros', 'free']
  .map((key) => mapClasses.findIndex((one) => one.key === key));
const ClassOfVerdict = 2;
const ZerosClass = 6;
const FreeClass = 7;

// An edge is a number, as millions of them are sorted: the byte, the class, and whether it is an end. Exact for media of
// up to 512 TiB.
const EdgeScale = 16;

// Where on the medium a class begins or ends, ascending.
function findEdges() {
  const pieces = hasColumn('extents') ? columnOf('extents') : null;
  const parts = hasColumn('embedded') ? columnOf('embedded').values : [];
  const countAll = (lists) => lists.reduce((sum, list) => sum + list.length, 0);
  const room = files.count + countAll(pieces?.values ?? []) + countAll(parts) + data.unreadable.length + data.zeros.length;
  const edges = new Float64Array(2 * room);
  let count = 0;
  const add = (kind, startSector, bytes) => {
    const from = Math.min(startSector * data.sectorSize, data.imageSize);
    const to = Math.min(startSector * data.sectorSize + bytes, data.imageSize);
    if (from < to) {
      edges[count++] = from * EdgeScale + kind * 2;
      edges[count++] = to * EdgeScale + kind * 2 + 1;
    }
  };
  for (let file = 0; file < files.count; ++file) {
    const kind = ClassOfVerdict + files.verdict[file];
    if (pieces?.places[file] > 0) {
      extentsOf(file).forEach(([start, bytes]) => add(kind, start, bytes));
    } else {
      add(kind, files.start[file], files.size[file]);
    }
  }
  parts.forEach((list) => list.forEach(([start, , bytes]) => add(1, start, bytes)));
  data.unreadable.forEach(([first, sectors]) => add(0, first, sectors * data.sectorSize));
  data.zeros.forEach(([first, sectors]) => add(ZerosClass, first, sectors * data.sectorSize));
  return edges.subarray(0, count).sort();
}

// The medium as consecutive stretches: their ends in bytes, and the class of each.
function layOutMedium() {
  const edges = findEdges();
  const open = new Int32Array(mapClasses.length);
  open[FreeClass] = 1;
  const ends = [];
  const kinds = [];
  let at = 0;
  for (const edge of edges) {
    const place = Math.floor(edge / EdgeScale);
    if (place > at) {
      let kind = 0;
      while (open[kind] === 0) {
        ++kind;
      }
      ends.push(place);
      kinds.push(kind);
      at = place;
    }
    open[(edge % EdgeScale) >> 1] += edge % 2 === 0 ? 1 : -1;
  }
  if (at < data.imageSize) {
    ends.push(data.imageSize);
    kinds.push(FreeClass);
  }
  return { ends, kinds };
}

class MediumMap {
  // `onPlace` gets [first sector, sector after the last], or null for the whole medium.
  constructor(onPlace) {
    this.root = byId('map');
    this.canvas = this.root.querySelector('canvas');
    this.cursor = this.root.querySelector('.map-cursor');
    this.range = this.root.querySelector('.map-range');
    this.fileMark = this.root.querySelector('.map-file');
    this.onPlace = onPlace;
    this.stretches = layOutMedium();
    this.totals = new Array(mapClasses.length).fill(0);
    this.stretches.kinds.forEach((kind, i) => {
      this.totals[kind] += this.stretches.ends[i] - (i > 0 ? this.stretches.ends[i - 1] : 0);
    });
    this.at = 0;
    this.anchor = 0;
    this.columns = 1;
    this.listen();
    this.showLegend();
    new ResizeObserver(() => this.draw()).observe(this.root);
    this.say();
  }

  showLegend() {
    byId('legend').replaceChildren(...shownClasses.filter((kind) => this.totals[kind] > 0).map((kind) =>
      make('li', {}, make('i', { className: `swatch ${mapClasses[kind].key}` }), `${mapClasses[kind].name} `,
        make('span', { className: 'muted' }, formatShare(this.totals[kind], data.imageSize)))));
  }

  // Bytes of each class in each column.
  bin(columns) {
    const bins = Array.from({ length: columns }, () => new Float64Array(mapClasses.length));
    const width = data.imageSize / columns;
    let from = 0;
    this.stretches.ends.forEach((end, i) => {
      const last = Math.min(columns - 1, Math.floor(end / width));
      for (let column = Math.min(columns - 1, Math.floor(from / width)); column <= last; ++column) {
        const bytes = Math.min(end, (column + 1) * width) - Math.max(from, column * width);
        bins[column][this.stretches.kinds[i]] += Math.max(0, bytes);
      }
      from = end;
    });
    return bins;
  }

  draw() {
    const step = 4;
    const { clientWidth: width, clientHeight: height } = this.root;
    if (width === 0 || data.imageSize === 0) {
      return;
    }
    const sectors = Math.ceil(data.imageSize / data.sectorSize);
    this.columns = Math.max(1, Math.min(Math.floor(width / step), sectors));
    this.bins = this.bin(this.columns);
    drawColumns(this.canvas, this.bins, width, height);
    this.root.setAttribute('aria-valuemax', this.columns - 1);
    this.mark();
  }

  sectorsOf(from, to = from) {
    const sectors = data.imageSize / data.sectorSize / this.columns;
    return [Math.floor(Math.min(from, to) * sectors), Math.max(1, Math.ceil((Math.max(from, to) + 1) * sectors))];
  }

  say() {
    if (data.imageSize === 0) {
      byId('map-readout').textContent = 'Its size is not known.';
      return;
    }
    const [first, end] = this.sectorsOf(this.anchor, this.at);
    const shares = new Float64Array(mapClasses.length);
    for (let i = Math.min(this.anchor, this.at); this.bins && i <= Math.max(this.anchor, this.at); ++i) {
      this.bins[i]?.forEach((bytes, kind) => (shares[kind] += bytes));
    }
    const all = shares.reduce((sum, bytes) => sum + bytes, 0);
    const holds = shownClasses.filter((kind) => shares[kind] > 0)
      .map((kind) => `${formatShare(shares[kind], all)} ${mapClasses[kind].name}`);
    const text = `Sectors ${formatNumber(first)} to ${formatNumber(end - 1)}: ${holds.join(', ')}`;
    this.root.setAttribute('aria-valuenow', this.at);
    this.root.setAttribute('aria-valuetext', text);
    byId('map-readout').textContent = this.isPointed ? text
      : `${formatSize(data.imageSize)}, ${formatNumber(Math.ceil(data.imageSize / data.sectorSize))} sectors of `
        + `${data.sectorSize} bytes. Click or drag to see the files of a part.`;
  }

  place(element, from, to) {
    element.style.left = `${(100 * from) / this.columns}%`;
    element.style.width = `${(100 * (to - from)) / this.columns}%`;
    element.hidden = false;
  }

  mark() {
    this.at = Math.min(this.at, this.columns - 1);
    this.anchor = Math.min(this.anchor, this.columns - 1);
    this.place(this.cursor, Math.min(this.at, this.anchor), Math.max(this.at, this.anchor) + 1);
    this.cursor.hidden = !this.isPointed;
    this.range.hidden = true;
    if (filter.place) {
      const perColumn = data.imageSize / data.sectorSize / this.columns;
      this.place(this.range, filter.place[0] / perColumn, Math.min(this.columns, filter.place[1] / perColumn));
    }
  }

  // Shows the place of a file; `undefined` hides the mark.
  markFile(file) {
    this.fileMark.hidden = file === undefined || data.imageSize === 0;
    if (!this.fileMark.hidden) {
      this.fileMark.style.left = `${(100 * files.start[file] * data.sectorSize) / data.imageSize}%`;
    }
  }

  point(at, keepsAnchor) {
    this.at = Math.max(0, Math.min(this.columns - 1, at));
    this.anchor = keepsAnchor ? this.anchor : this.at;
    this.isPointed = true;
    this.mark();
    this.say();
  }

  choose() {
    this.onPlace(this.sectorsOf(this.anchor, this.at));
    this.mark();
  }

  leave() {
    this.isPointed = false;
    this.mark();
    this.say();
  }

  listen() {
    const columnAt = (event) => {
      const box = this.root.getBoundingClientRect();
      return Math.floor(((event.clientX - box.left) / box.width) * this.columns);
    };
    this.root.addEventListener('pointermove', (event) => this.point(columnAt(event), event.buttons === 1));
    this.root.addEventListener('pointerdown', (event) => {
      this.root.setPointerCapture(event.pointerId);
      this.point(columnAt(event), false);
    });
    this.root.addEventListener('pointerup', () => this.choose());
    this.root.addEventListener('pointerleave', () => this.leave());
    this.root.addEventListener('blur', () => this.leave());
    this.root.addEventListener('keydown', (event) => {
      const wide = Math.max(1, Math.round(this.columns / 20));
      const steps = { ArrowLeft: -1, ArrowRight: 1, ArrowDown: -1, ArrowUp: 1, PageDown: -wide, PageUp: wide,
        Home: -this.columns, End: this.columns };
      if (event.key in steps) {
        this.point(this.at + steps[event.key], event.shiftKey);
      } else if (event.key === 'Enter' || event.key === ' ') {
        this.choose();
      } else if (event.key === 'Escape') {
        this.onPlace(null);
        this.leave();
      } else {
        return;
      }
      event.preventDefault();
    });
  }
}

function drawColumns(canvas, bins, width, height) {
  const scale = window.devicePixelRatio || 1;
  canvas.width = Math.round(width * scale);
  canvas.height = Math.round(height * scale);
  const context = canvas.getContext('2d');
  const style = getComputedStyle(canvas);
  const colours = mapClasses.map(({ key }) => style.getPropertyValue(`--map-${key}`));
  const step = canvas.width / bins.length;
  const gap = step > 3 * scale ? scale : 0;
  bins.forEach((bytes, column) => {
    const left = Math.round(column * step);
    const next = Math.round((column + 1) * step);
    const right = next - gap;
    const all = bytes.reduce((sum, one) => sum + one, 0);
    let bottom = canvas.height;
    for (const kind of shownClasses) {
      if (bytes[kind] > 0) {
        const top = kind === FreeClass ? 0 : bottom - Math.max(2 * scale, (canvas.height * bytes[kind]) / all);
        context.fillStyle = colours[kind];
        context.fillRect(left, Math.round(Math.max(0, top)), (kind < ZerosClass ? right : next) - left, Math.round(bottom) - Math.round(Math.max(0, top)));
        bottom = Math.max(0, top);
      }
    }
  });
}
