"""Makers of files, by group; each makes the variants of some formats."""

from . import archives, documents, films, libraries, pictures, raws, sounds, texts, tools

GROUPS = {
    "sounds": sounds.MAKERS,
    "films": films.MAKERS,
    "pictures": pictures.MAKERS,
    "raws": raws.MAKERS,
    "documents": documents.MAKERS,
    "archives": archives.MAKERS,
    "texts": texts.MAKERS,
    "tools": tools.MAKERS,
    "libraries": libraries.MAKERS,
}
