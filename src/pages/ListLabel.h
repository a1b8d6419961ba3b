#pragma once

class QAbstractItemView;
class QLabel;

// The label over a list names the list: it becomes the label's buddy and the list's
// accessible name is the label's text. A screen reader names a list by its own
// accessible name only; unlike a text box, a list does not take its label's.
void labelList(QLabel* label, QAbstractItemView* list);
