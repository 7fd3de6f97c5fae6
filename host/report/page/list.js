// The files as a gallery or a table. Only elements on the screen exist.

// Browsers cannot draw much taller elements; longer lists scroll faster than the wheel.
const TallestList = 8e6;

class FileList {
  // `onOpen` gets the file that the user opens, `onActive` the one that is marked.
  constructor(onOpen, onActive) {
    this.root = byId('list');
    this.onOpen = onOpen;
    this.onActive = onActive;
    this.order = new Uint32Array(0);
    this.isGallery = true;
    this.active = 0;
    this.items = new Map();
    window.addEventListener('scroll', () => this.schedule(), { passive: true });
    new ResizeObserver(() => this.lay()).observe(this.root);
    this.root.addEventListener('keydown', (event) => this.onKey(event));
    this.root.addEventListener('click', (event) => {
      const item = event.target.closest('[data-at]');
      if (item) {
        this.activate(Number(item.dataset.at));
        this.onOpen(this.order[this.active]);
      }
    });
  }

  show(order, isGallery) {
    this.order = order;
    this.isGallery = isGallery;
    this.active = 0;
    this.root.className = `list ${isGallery ? 'gallery' : 'table'}`;
    this.root.setAttribute('role', isGallery ? 'listbox' : 'grid');
    this.root.setAttribute('aria-label', `${formatNumber(order.length)} files`);
    this.root[isGallery ? 'removeAttribute' : 'setAttribute']('aria-rowcount', order.length);
    this.clear();
    this.lay();
    if (window.scrollY > this.top()) {
      window.scrollTo(0, this.top());
    }
  }

  clear() {
    this.items.forEach((item) => item.remove());
    this.items.clear();
  }

  lay() {
    const width = this.root.clientWidth;
    const wasAcross = this.across;
    if (this.isGallery) {
      const gap = width < 560 ? 10 : 18;
      this.across = Math.max(2, Math.floor((width + gap) / ((width < 560 ? 150 : 210) + gap)));
      this.cellWidth = (width - gap * (this.across - 1)) / this.across;
      this.gap = gap;
      this.rowHeight = Math.round(this.cellWidth * 0.75 + 58 + gap);
    } else {
      this.across = 1;
      this.rowHeight = width < 720 ? 68 : 52;
      this.cellWidth = width;
      this.gap = 0;
    }
    if (wasAcross !== this.across) {
      this.clear();
    }
    this.rows = Math.ceil(this.order.length / this.across);
    this.total = this.rows * this.rowHeight;
    this.height = Math.min(this.total, TallestList);
    this.root.style.height = `${this.height}px`;
    this.draw();
  }

  // The list's position in the document, below the bar that stays at the top of the window.
  top() {
    const tools = document.querySelector('.tools').getBoundingClientRect().height;
    return this.root.getBoundingClientRect().top + window.scrollY - tools - 44;
  }

  schedule() {
    this.pending ??= requestAnimationFrame(() => {
      this.pending = null;
      this.draw();
    });
  }

  // How far the list has scrolled on the screen, and in its own coordinates: the same unless it is taller than its
  // element.
  offsets() {
    const onScreen = Math.max(0, -this.root.getBoundingClientRect().top);
    const room = this.height - window.innerHeight;
    const inside = this.total > this.height && room > 0
      ? Math.min(1, onScreen / room) * (this.total - window.innerHeight) : onScreen;
    return { onScreen, inside };
  }

  draw() {
    const { onScreen, inside } = this.offsets();
    const first = Math.max(0, Math.floor(inside / this.rowHeight) - 2);
    const last = Math.min(this.rows, Math.ceil((inside + window.innerHeight) / this.rowHeight) + 2);
    const from = first * this.across;
    const to = Math.min(this.order.length, last * this.across);
    this.items.forEach((item, at) => {
      if (at < from || at >= to) {
        item.remove();
        this.items.delete(at);
      }
    });
    for (let at = from; at < to; ++at) {
      let item = this.items.get(at);
      if (!item) {
        item = this.isGallery ? makeCard(this.order[at]) : makeRow(this.order[at]);
        item.id = `item-${at}`;
        item.dataset.at = at;
        if (this.isGallery) {
          item.setAttribute('aria-setsize', this.order.length);
          item.setAttribute('aria-posinset', at + 1);
        } else {
          item.setAttribute('aria-rowindex', at + 1);
        }
        this.items.set(at, item);
        this.root.append(item);
      }
      const row = Math.floor(at / this.across);
      const x = (at % this.across) * (this.cellWidth + this.gap);
      item.style.width = `${this.cellWidth}px`;
      item.style.height = `${this.rowHeight - this.gap}px`;
      item.style.transform = `translate(${x}px, ${row * this.rowHeight - inside + onScreen}px)`;
      item.setAttribute('aria-selected', at === this.active);
    }
    if (this.items.has(this.active)) {
      this.root.setAttribute('aria-activedescendant', `item-${this.active}`);
    } else {
      this.root.removeAttribute('aria-activedescendant');
    }
  }

  activate(at) {
    this.active = Math.max(0, Math.min(this.order.length - 1, at));
    this.reveal();
    this.draw();
    this.onActive(this.order[this.active]);
  }

  // Scrolls so that the marked file is visible.
  reveal() {
    const covered = document.querySelector('.tools').getBoundingClientRect().bottom + byId('columns').offsetHeight;
    const rowTop = Math.floor(this.active / this.across) * this.rowHeight;
    const { inside } = this.offsets();
    const screenTop = rowTop - inside + Math.max(0, this.root.getBoundingClientRect().top);
    let move = 0;
    if (screenTop < Math.max(0, covered)) {
      move = screenTop - Math.max(0, covered) - 8;
    } else if (screenTop + this.rowHeight > window.innerHeight) {
      move = screenTop + this.rowHeight - window.innerHeight + 8;
    }
    if (move !== 0) {
      const scale = this.total > this.height
        ? (this.height - window.innerHeight) / (this.total - window.innerHeight) : 1;
      window.scrollBy({ top: move * scale, behavior: 'instant' });
    }
  }

  onKey(event) {
    const page = this.across * Math.max(1, Math.floor(window.innerHeight / this.rowHeight) - 1);
    const steps = { ArrowDown: this.across, ArrowUp: -this.across, PageDown: page, PageUp: -page,
      Home: -this.order.length, End: this.order.length,
      ...(this.isGallery ? { ArrowRight: 1, ArrowLeft: -1 } : {}) };
    if (event.target !== this.root || this.order.length === 0) {
      return;
    }
    if (event.key in steps) {
      this.activate(this.active + steps[event.key]);
    } else if (event.key === 'Enter' || event.key === ' ') {
      this.onOpen(this.order[this.active]);
    } else {
      return;
    }
    event.preventDefault();
  }
}

function noPicture(file) {
  return make('span', { className: `tile kind-${groupOfType[files.type[file]]}` }, extensionOf(file).toUpperCase());
}

// A picture of the file. A tile with its extension if there is none or the browser cannot show it.
function makePicture(file, alt) {
  const source = pictureOf(file) && address(pictureOf(file));
  if (!source) {
    return noPicture(file);
  }
  const image = make('img', { loading: 'lazy', decoding: 'async', alt, draggable: false });
  image.addEventListener('error', () => image.replaceWith(noPicture(file)));
  // Icons are shown as they are.
  image.addEventListener('load', () => image.classList.toggle('tiny', image.naturalWidth < 160 && image.naturalHeight < 160));
  image.src = source;
  return image;
}

// The first frame of a film.
function makeFilmPicture(file) {
  const source = address(pathOf(file));
  if (played[extensionOf(file)] !== 'video' || !source) {
    return noPicture(file);
  }
  const film = make('video', { preload: 'metadata', muted: true, tabIndex: -1, 'aria-hidden': 'true' });
  const picture = make('span', { className: 'film' }, film);
  film.addEventListener('error', () => picture.replaceWith(noPicture(file)));
  // The browser may know the sound alone.
  film.addEventListener('loadedmetadata', () => film.videoWidth === 0 && picture.replaceWith(noPicture(file)));
  film.src = `${source}#t=0.1`;
  return picture;
}

function makeCard(file) {
  const isFilm = groupNames[groupOfType[files.type[file]]] === 'Films';
  const verdict = verdicts[files.verdict[file]];
  const name = nameOf(file);
  return make('div', { className: 'card', role: 'option' },
    make('div', { className: 'thumb', 'aria-hidden': 'true' }, isFilm ? makeFilmPicture(file) : makePicture(file, '')),
    make('div', { className: 'caption' },
      make('span', { className: 'name', title: name }, originalOf(file) ? name : fieldOf('title', file) ?? name),
      make('span', { className: 'line muted' }, make('i', { className: `dot ${verdict}` }), verdict,
        make('span', { className: 'day' }, takenOf(file).slice(0, 10)),
        make('span', { className: 'end' }, formatSize(files.size[file])))));
}

function makeRow(file) {
  const cell = (className, ...children) => make('div', { className: `cell ${className}`, role: 'gridcell' }, ...children);
  const extension = extensionOf(file);
  const name = nameOf(file);
  const title = fieldOf('title', file);
  return make('div', { className: 'row', role: 'row' },
    cell('c-name', make('span', { className: `tile small kind-${groupOfType[files.type[file]]}`, 'aria-hidden': 'true' }, extension),
      make('div', { className: 'names' }, make('span', { className: 'name', title: name }, name),
        title ? make('span', { className: 'title muted', title }, title) : null)),
    cell('c-type', typeNameOf(file)),
    cell('c-verdict', verdictBadge(files.verdict[file]), make('span', { className: 'why muted', title: whyOf(file) }, whyOf(file))),
    cell('c-size', formatSize(files.size[file])),
    cell('c-place', formatNumber(files.start[file])),
    ...(hasColumn('taken') ? [cell('c-taken', takenOf(file).slice(0, 16).replace('T', ' '))] : []));
}
