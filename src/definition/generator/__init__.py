"""Joins structure and texts into the module's definition document.

structure.py reads ../structure and says which keys need a text, texts.py reads and checks
../texts, messages.py compares the English texts with the messages that the code raises,
document.py builds the document, pieces.py writes it as C++.
"""
