"""A desk's morning: the margin of the book, what today's orders would add, and why the largest margin is what it is.

    python3 desk.py MARKET ACCOUNTS POSITIONS ORDERS [PICTURE]

Files as the command line reads them; some lie beside this program. PICTURE, such as margin.png, is drawn where
matplotlib is installed.
"""

# %% The book
import sys

from quindalim import Session, csv_rows, plot

market, accounts, positions, orders, *picture = sys.argv[1:]
session = Session(market=market).open()  # closed by itself at the end of the program
calculator = session.calculator
calculator.register(csv_rows(accounts))
calculator.set_positions(csv_rows(positions))

# %% What it needs
margins = calculator.margins()
for margin in margins:
    print(f"{margin.client}  {margin.go:16,.2f}")

# %% What if?
for tried in calculator.what_if(csv_rows(orders)):
    print(f"{tried.label:20}  {tried.client}  {tried.difference:+16,.2f}")

# %% Why?
largest = max(margins, key=lambda margin: margin.go)
explanation = calculator.explain(largest.client)
print(f"Of {explanation.go:,.2f}, the margin of {explanation.client}:")
for share in sorted(explanation.shares, key=lambda share: -share.margin):
    print(f"{share.instrument:20}  {share.quantity:8}  {share.margin:+16,.2f}")

# %% A picture
if picture:
    try:
        plot(explanation).savefig(picture[0])
    except ImportError:
        print("no picture: matplotlib is not installed")
session.close()
